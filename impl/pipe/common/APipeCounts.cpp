// What has become of the buffers that a stage took.
#include "APipeCounts.h"

#include <iterator>

namespace android {

namespace {

struct Term {
    int64_t APipeCounts::*count;
    const char* name;
};

constexpr Term kTerms[] = {
    {&APipeCounts::sentOn, "sent on"},
    {&APipeCounts::sentHome, "sent home"},
    {&APipeCounts::givenUp, "given up by the generator"},
    {&APipeCounts::stale, "stale"},
    {&APipeCounts::failed, "failed"},
    {&APipeCounts::forgotten, "forgotten by a flush"},
    {&APipeCounts::held, "held"},
};

constexpr const char* kRefusalNames[] = {"before init completed", "in error", "without a loop"};
static_assert(std::size(kRefusalNames) == APipeCounts::kRefusalCount);

}  // namespace

APipeCounts APipeCounts::since(const APipeCounts& before) const {
    APipeCounts result = *this;
    result.taken -= before.taken;
    for (const Term& term : kTerms)
        result.*term.count -= before.*term.count;
    result.held = held;
    result.worked -= before.worked;
    for (size_t i = 0; i < refused.size(); ++i)
        result.refused[i] -= before.refused[i];
    return result;
}

std::string APipeCounts::toString() const {
    std::string text = "taken " + std::to_string(taken);
    const char* separator = " = ";
    for (const Term& term : kTerms) {
        if (this->*term.count == 0) continue;
        text += separator + std::string(term.name) + " " + std::to_string(this->*term.count);
        separator = " + ";
    }
    if (kept != 0) text += "; kept by its own code " + std::to_string(kept);
    for (size_t i = 0; i < refused.size(); ++i) {
        if (refused[i] == 0) continue;
        text += "; refused " + std::to_string(refused[i]) + " items " + kRefusalNames[i];
    }
    return text;
}

}  // namespace android
