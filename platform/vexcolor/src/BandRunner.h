// BandRunner: spreads the bands of one frame over a few threads.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace cl {

// Calls a function once for every band of a frame, on the caller's thread and on helpers of its
// own that sleep between frames. Which thread takes which band is left to chance: bands must touch
// different memory.
//
// Helpers start with the first run that wants them and end with setThreads or the runner. Where
// the system gives no more threads, fewer do the work, with a warning.
//
// Threading: reentrant.
class BandRunner {
public:
    // False reports a failure; the other bands run all the same.
    using Work = std::function<bool(uint32_t band)>;

    BandRunner() = default;
    ~BandRunner();
    BandRunner(const BandRunner&) = delete;
    BandRunner& operator=(const BandRunner&) = delete;

    // At most so many threads, the caller's included, from the next run on. Joins all helpers.
    void setThreads(uint32_t threads);

    // Returns when work has been done for 0 to bands - 1; true when it succeeded for all.
    bool run(uint32_t bands, const Work& work);

private:
    void startHelpers();
    bool startHelper();
    void help(uint64_t lastRun);
    void takeBands(const Work& work, uint32_t bands);

    uint32_t mThreads = 1;
    std::vector<std::thread> mHelpers;

    // Of the current run: the next band that nobody took, and whether one failed.
    std::atomic<uint32_t> mNextBand = 0;
    std::atomic<bool> mFailed = false;

    std::mutex mLock;  // guards what follows
    std::condition_variable mWake;
    std::condition_variable mIdle;
    const Work* mWork = nullptr;  // null between runs: a helper that wakes late goes back to sleep
    uint32_t mBands = 0;
    uint64_t mRun = 0;  // counts runs, so that a helper takes part once in each
    size_t mBusyHelpers = 0;
    bool mStop = false;
};

}  // namespace cl
