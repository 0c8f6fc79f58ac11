// IdleYield: what a loop that has run dry does before it sleeps.
#pragma once

#include <chrono>
#include <cstdint>

#include <sched.h>

namespace android::host {

// Gives way to other threads for a moment. While frames stream, another thread is about to post
// and only waits for a processor: letting it run costs a fraction of a sleep and a wake-up, and the
// loop comes back to a handful of messages instead of being woken for each. Where that brought
// nothing, or the processor was away for long, it is left for several times as long as it took, so
// a quiet loop sleeps at once and a busy system loses little.
// Threading: thread-bound.
class IdleYield {
public:
    // True as soon as `ready` gives true.
    template <typename Ready>
    bool until(Ready ready) {
        const Clock::time_point start = Clock::now();
        if (start < mNotBefore) return false;
        Clock::time_point now = start;
        bool isReady = false;
        while (!isReady && now - start < kPatience) {
            sched_yield();
            isReady = ready();
            now = Clock::now();
        }
        if (!isReady || now - start > kLong) mNotBefore = now + kRest * (now - start);
        return isReady;
    }

private:
    using Clock = std::chrono::steady_clock;

    // About what a sleep and a wake-up cost.
    static constexpr std::chrono::microseconds kPatience{5};
    // No thread of a streaming chain keeps the processor for so long: another program had it.
    static constexpr std::chrono::microseconds kLong{50};
    static constexpr int kRest = 4;

    Clock::time_point mNotBefore{};
};

}  // namespace android::host
