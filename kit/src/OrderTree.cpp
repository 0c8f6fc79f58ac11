// The orders of steps, each class of like ones once.
#include "OrderTree.h"

#include <algorithm>
#include <bit>

namespace plexa::kit {

bool Step::dependsOn(const Step& other) const {
    if (process == other.process) return true;
    if ((posted & other.posted) != 0) return true;
    if ((raised & (bitOf(other.process) | other.posted | other.raised)) != 0) return true;
    if ((other.raised & (bitOf(process) | posted)) != 0) return true;
    return (pooled & bitOf(other.process)) != 0 || (other.pooled & bitOf(process)) != 0;
}

Process OrderTree::next(const std::vector<Process>& enabled) {
    const size_t depth = mSteps.size();
    if (depth < mNodes.size()) return mNodes[depth].chosen;
    Node node;
    if (depth > 0) node.asleep = asleepAfter(mNodes[depth - 1], mSteps.back());
    for (const Process process : enabled) {
        node.enabled |= bitOf(process);
        if (node.chosen == kNobody && !node.asleep.contains(process)) node.chosen = process;
    }
    if (node.chosen == kNobody) return kNobody;
    node.wanted = bitOf(node.chosen);
    mNodes.push_back(std::move(node));
    return mNodes.back().chosen;
}

void OrderTree::took(const Step& step) {
    mSteps.push_back(step);
}

std::map<Process, Step> OrderTree::asleepAfter(const Node& node, const Step& step) const {
    std::map<Process, Step> asleep;
    for (const auto& [process, sleeper] : node.asleep)
        if (!sleeper.dependsOn(step)) asleep.emplace(process, sleeper);
    return asleep;
}

bool OrderTree::advance() {
    findRaces();
    while (!mNodes.empty()) {
        Node& node = mNodes.back();
        node.asleep.insert_or_assign(node.chosen, mSteps[mNodes.size() - 1]);
        Processes left = node.wanted & node.enabled;
        for (const auto& [process, step] : node.asleep)
            left &= ~bitOf(process);
        if (left != 0) {
            node.chosen = static_cast<Process>(std::countr_zero(left));
            break;
        }
        mNodes.pop_back();
    }
    mSteps.clear();
    return !mNodes.empty();
}

// Steps that depend on each other, with none between them that makes it so, could go the other way
// round.
void OrderTree::findRaces() {
    mBefore.assign(mSteps.size(), std::vector<bool>(mSteps.size()));
    for (size_t late = 0; late < mSteps.size(); ++late) {
        auto& before = mBefore[late];
        const auto follow = [&](size_t early) {
            for (size_t i = 0; i < early; ++i)
                if (mBefore[early][i]) before[i] = true;
            before[early] = true;
        };
        if (mSteps[late].cause >= 0) follow(static_cast<size_t>(mSteps[late].cause));
        for (size_t early = late; early-- > 0;) {
            if (before[early] || !mSteps[early].dependsOn(mSteps[late])) continue;
            if (mSteps[early].process != mSteps[late].process) wantReversal(early, late);
            follow(early);
        }
    }
}

void OrderTree::wantReversal(size_t early, size_t late) {
    // What does not wait for the early step, up to the late one, can go before it.
    std::vector<size_t> others;
    for (size_t step = early + 1; step < late; ++step)
        if (!mBefore[step][early]) others.push_back(step);
    others.push_back(late);
    Processes first = 0, seen = 0;
    for (const size_t step : others) {
        const bool waits = std::ranges::any_of(others, [&](size_t other) {
            return other < step &&
                   (step == late ? mBefore[late][other] : static_cast<bool>(mBefore[step][other]));
        });
        const Processes bit = bitOf(mSteps[step].process);
        if (!waits && (seen & bit) == 0) first |= bit;
        seen |= bit;
    }
    Node& node = mNodes[early];
    if ((node.wanted & first) != 0) return;
    node.wanted |= bitOf(mSteps[others.front()].process);
}

}  // namespace plexa::kit
