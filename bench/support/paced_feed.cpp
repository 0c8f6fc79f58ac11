// Frames at a fixed rate, and what each costs.
#include "support/paced_feed.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <time.h>

#include "support/rates.h"

namespace plexa::bench {

namespace {

constexpr size_t kWarmUp = 10;  // frames that do not count
constexpr size_t kLeast = 30;   // frames that do
constexpr std::chrono::seconds kDeadline{60};

double processCpuUs() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void sleepUntil(std::chrono::steady_clock::time_point when) {
    const auto since = when.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
    const timespec until{seconds.count(), (since - seconds).count()};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

}  // namespace

PacedFeed::PacedFeed(int framesASecond, std::chrono::duration<double> time)
    : mPeriod(std::chrono::nanoseconds(std::chrono::seconds(1)) / framesASecond),
      mQueued(kWarmUp + std::max(kLeast, static_cast<size_t>(framesASecond * time.count()))),
      mHeard(mQueued.size()) {}

PacedCost PacedFeed::run(const std::function<void()>& feed) {
    double cpuUs = 0;
    Clock::time_point due = Clock::now();
    for (size_t i = 0; i < mQueued.size(); ++i) {
        if (i == kWarmUp) cpuUs = processCpuUs();
        sleepUntil(due += mPeriod);
        mQueued[i] = Clock::now();
        feed();
    }
    if (!mDone.try_acquire_for(kDeadline)) {
        std::fputs("frames did not come out\n", stderr);
        std::exit(1);
    }
    return {(processCpuUs() - cpuUs) / static_cast<double>(mQueued.size() - kWarmUp),
            medianLatencyUs()};
}

void PacedFeed::heard() {
    mHeard[mHeardCount++] = Clock::now();
    if (mHeardCount == mHeard.size()) mDone.release();
}

double PacedFeed::medianLatencyUs() const {
    std::vector<double> latencies;
    for (size_t i = kWarmUp; i < mQueued.size(); ++i)
        latencies.push_back(
            std::chrono::duration<double, std::micro>(mHeard[i] - mQueued[i]).count());
    return median(std::move(latencies));
}

}  // namespace plexa::bench
