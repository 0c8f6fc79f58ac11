// IdleYield: what a loop that has run dry does before it sleeps.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include <sched.h>

namespace android::host {

// Gives way to other threads for a moment. While frames stream, another thread is about to post
// and only waits for a processor: letting it run costs a fraction of a sleep and a wake-up, and the
// loop comes back to a handful of messages instead of being woken for each.
// Two things end the giving way early. Where the processor was away for long and not with loops of
// this process, another program had it: the loop sleeps for several times as long, for once woken
// it is given the processor at once. And threads that keep giving way to each other on one
// processor never look idle, so the system leaves them there, also when another processor has
// nothing to do: after a while the loop sleeps once, for a woken thread is put where there is room.
// Threading: thread-bound.
class IdleYield {
public:
    // True as soon as `ready` gives true.
    template <typename Ready>
    bool until(Ready ready) {
        const Clock::time_point start = Clock::now();
        if (start < mNotBefore || mShared >= kMaxShared) {
            mShared = 0;
            return false;
        }
        const uint32_t spell = sSpells.fetch_add(1, std::memory_order_relaxed);
        Clock::time_point now = start;
        bool isReady = false;
        while (!isReady && now - start < kPatience) {
            const Clock::time_point before = now;
            sched_yield();
            isReady = ready();
            now = Clock::now();
            if (now - before > kAlone) ++mShared;
        }
        if (!isReady) mShared = 0;
        if (wasElsewhere(now - start, sSpells.load(std::memory_order_relaxed) - spell))
            mNotBefore = now + kRest * (now - start);
        return isReady;
    }

private:
    using Clock = std::chrono::steady_clock;

    static bool wasElsewhere(Clock::duration away, uint32_t spells) {
        return away > kLong && spells * kBusy < away;
    }

    // About what a sleep and a wake-up cost.
    static constexpr std::chrono::microseconds kPatience{30};
    // More than giving way takes where nobody else wants the processor.
    static constexpr std::chrono::nanoseconds kAlone{900};
    // So seldom that the sleep and the wake-up, some microseconds each, do not show.
    static constexpr int kMaxShared = 50;
    // A few turns of other loops.
    static constexpr std::chrono::microseconds kLong{200};
    // Loops that are busy run dry more often than this.
    static constexpr std::chrono::microseconds kBusy{50};
    // After another program had the processor, at most a fifth of the time goes to it unasked.
    static constexpr int kRest = 4;

    inline static std::atomic<uint32_t> sSpells{0};  // how often any loop has run dry

    Clock::time_point mNotBefore{};
    int mShared = 0;  // how often another thread ran meanwhile, since the last sleep
};

}  // namespace android::host
