// Scheduler: runs all loopers of a chain on the caller's thread, in an order that a seed draws.
#pragma once

#include <host/LooperScheduler.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace plexa::kit {

/// While it exists, loopers that are started have no thread: one message at a time is handled, in
/// virtual time, when told. The same seed and the same calls give the same order. At most one at a
/// time.
///
/// Threading: bound to the thread that makes it.
class Scheduler {
public:
    /// How the looper that goes on is drawn among those that have a message due.
    enum class Order {
        /// Each of them equally likely, every time.
        Even,
        /// The one with the highest priority. Each looper has one from its start, drawn at random,
        /// and at a few random steps the one that would go on falls behind all others. A fault that
        /// takes d orderings to come true among k steps of n loopers is met by one seed in at most
        /// n * k^(d-1), however unlikely even choices make it: S. Burckhardt, P. Kothari,
        /// M. Musuvathi, S. Nagarakatte, "A Randomized Scheduler with Probabilistic Guarantees of
        /// Finding Bugs", ASPLOS 2010.
        Priorities,
    };

    Scheduler(uint64_t seed, Order order);

    /// Handles one message; false when none is due.
    bool runOne() { return mScheduler.runOne(); }
    /// Handles one message, after moving the clock if there is none before; false at rest.
    bool step() { return mScheduler.runOne() || mScheduler.advanceToNext(); }
    /// Runs until nothing is due and nothing waits for its time, and calls afterEach after each
    /// message; false if there is no end to it.
    [[nodiscard]] bool runToRest(const std::function<void()>& afterEach = nullptr);

private:
    using Due = android::host::LooperScheduler::Due;

    size_t choose(const std::vector<Due>& due);
    size_t chooseByPriority(const std::vector<Due>& due);

    const Order mOrder;
    std::mt19937_64 mRandom;
    std::map<uint64_t, int64_t> mPriorities;  // by the number of the looper
    std::set<uint64_t> mChanges;              // steps at which one falls behind
    uint64_t mStep = 0;
    int64_t mLowest = 0;
    android::host::LooperScheduler mScheduler;
};

}  // namespace plexa::kit
