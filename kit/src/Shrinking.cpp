// Makes a story that fails as short as it can be.
#include <algorithm>
#include <utility>

#include "Life.h"

namespace plexa::kit {

namespace {

using Fails = std::function<bool(const Story&)>;

Story without(const Story& story, size_t first, size_t count) {
    Story less = story;
    const auto begin = less.ops.begin() + static_cast<ptrdiff_t>(first);
    less.ops.erase(begin,
                   begin + static_cast<ptrdiff_t>(std::min(count, story.ops.size() - first)));
    return less;
}

bool keepIfFails(Story* story, Story other, const Fails& fails) {
    if (!fails(other)) return false;
    *story = std::move(other);
    return true;
}

void dropOps(Story* story, const Fails& fails) {
    for (size_t length = story->ops.size(); length > 0; length /= 2) {
        for (size_t at = 0; at < story->ops.size();)
            if (!keepIfFails(story, without(*story, at, length), fails)) at += length;
    }
}

void dropNeighbours(Story* story, const Fails& fails) {
    for (size_t at = 0; at < story->stages.size() && story->stages.size() > 1;) {
        Story less = *story;
        less.stages.erase(less.stages.begin() + static_cast<ptrdiff_t>(at));
        const bool isNeighbour = story->stages[at].given == StagePlan::kNeighbour;
        if (!isNeighbour || !keepIfFails(story, std::move(less), fails)) ++at;
    }
}

void makePlain(Story* story, const Fails& fails) {
    for (size_t at = 0; at < story->stages.size(); ++at) {
        Story plain = *story;
        if (plain.stages[at].given == StagePlan::kNeighbour) plain.stages[at] = StagePlan();
        keepIfFails(story, std::move(plain), fails);
    }
}

}  // namespace

Story shrunk(Story story, const Fails& fails) {
    dropNeighbours(&story, fails);
    makePlain(&story, fails);
    dropOps(&story, fails);
    dropNeighbours(&story, fails);
    return story;
}

}  // namespace plexa::kit
