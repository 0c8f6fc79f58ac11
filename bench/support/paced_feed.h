// Frames at a fixed rate, and what each costs.
#pragma once

#include <chrono>
#include <functional>
#include <semaphore>
#include <vector>

namespace plexa::bench {

struct PacedCost {
    double cpuUs;      // of the whole process, a frame
    double latencyUs;  // from queueing a frame to hearing of it, median
};

/// Feeds frames by a timer on the thread that calls run(). Frames come out in the order in which
/// they went in.
///
/// Threading: heard() is for one thread, any; the rest is thread-bound.
class PacedFeed {
public:
    PacedFeed(int framesASecond, std::chrono::duration<double> time);

    /// Calls `feed` for each frame at its time, and returns when heard() was called as often.
    PacedCost run(const std::function<void()>& feed);
    void heard();
    size_t frames() const { return mQueued.size(); }

private:
    using Clock = std::chrono::steady_clock;

    double medianLatencyUs() const;

    std::chrono::nanoseconds mPeriod;
    std::vector<Clock::time_point> mQueued, mHeard;
    size_t mHeardCount = 0;
    std::binary_semaphore mDone{0};
};

}  // namespace plexa::bench
