// The order in which loopers go on.
#include <kit/Scheduler.h>

#include <algorithm>

#include "Pulse.h"

namespace plexa::kit {

namespace {

// Lives of chains take some hundred steps; the faults that we know of need three orderings at most.
constexpr uint64_t kSteps = 600;
constexpr int kMostChanges = 4;
// Far more than a life of a chain that comes to rest.
constexpr int kMostSteps = 1'000'000;

}  // namespace

Scheduler::Scheduler(uint64_t seed, Order order)
    : mOrder(order),
      mRandom(seed),
      mScheduler([this](const std::vector<Due>& due) { return choose(due); }) {
    if (order == Order::Even) return;
    for (uint64_t left = mRandom() % (kMostChanges + 1); left > 0; --left)
        mChanges.insert(mRandom() % kSteps);
}

bool Scheduler::runToRest(const std::function<void()>& afterEach) {
    for (int steps = 0; steps < kMostSteps; ++steps) {
        if (!step()) return true;
        if (afterEach != nullptr) afterEach();
    }
    return false;
}

size_t Scheduler::choose(const std::vector<Due>& due) {
    const size_t chosen = mOrder == Order::Even ? mRandom() % due.size() : chooseByPriority(due);
    Pulse::beat(due[chosen].name);
    return chosen;
}

size_t Scheduler::chooseByPriority(const std::vector<Due>& due) {
    for (const Due& one : due)
        mPriorities.try_emplace(one.number, static_cast<int64_t>(mRandom() >> 1U));
    const auto isBehind = [this](const Due& one, const Due& other) {
        return mPriorities[one.number] < mPriorities[other.number];
    };
    auto chosen = std::max_element(due.begin(), due.end(), isBehind);
    if (mChanges.contains(mStep++)) {
        mPriorities[chosen->number] = --mLowest;
        chosen = std::max_element(due.begin(), due.end(), isBehind);
    }
    return static_cast<size_t>(chosen - due.begin());
}

}  // namespace plexa::kit
