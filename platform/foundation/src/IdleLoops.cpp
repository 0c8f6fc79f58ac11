// When loops give way, and for how long.
#include "IdleLoops.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include <sched.h>

namespace android::host {

namespace {

using Clock = std::chrono::steady_clock;

// A chain of 16 stages at 240 frames a second runs dry some 8 times a millisecond; two stages that
// stream, some 200 times.
constexpr size_t kOften = 60;
constexpr std::chrono::milliseconds kPeriod{1};
// About what a sleep and a wake-up cost.
constexpr std::chrono::microseconds kPatience{30};

std::atomic<size_t> gCount{0};
std::array<std::atomic<Clock::rep>, kOften> gLastTimes{};  // a ring

// Notes that a loop has run dry. Relaxed throughout: a time that is missed moves the answer by one.
bool runDryOften(Clock::time_point now) {
    const size_t slot = gCount.fetch_add(1, std::memory_order_relaxed) % kOften;
    const Clock::rep time = now.time_since_epoch().count();
    const Clock::rep before = gLastTimes[slot].exchange(time, std::memory_order_relaxed);
    return Clock::duration(time - before) < kPeriod;
}

}  // namespace

bool IdleLoops::giveWay(const std::atomic<bool>& ready) {
    const Clock::time_point start = Clock::now();
    if (!runDryOften(start)) return false;
    while (!ready.load(std::memory_order_relaxed)) {
        if (Clock::now() - start > kPatience) return false;
        sched_yield();
    }
    return true;
}

}  // namespace android::host
