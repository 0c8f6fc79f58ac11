// BandRunner: spreads the bands of one frame over a few threads.
#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
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
    struct Run {
        uint64_t number = 0;         // so that a helper takes part once in each
        const Work* work = nullptr;  // null between runs: who wakes late goes back to sleep
        uint32_t bands = 0;
    };

    void startHelpers();
    bool startHelper();
    void stopHelpers(bool stop) EXCLUDES(mLock);
    // Lets the helpers in, and waits until they are out.
    void open(const Work& work, uint32_t bands) EXCLUDES(mLock);
    void close() EXCLUDES(mLock);
    // A helper's life. join() waits for a run other than the one given; false to end.
    void help();
    bool join(Run* run) EXCLUDES(mLock);
    void leave() EXCLUDES(mLock);
    void takeBands(const Work& work, uint32_t bands);

    uint32_t mThreads = 1;
    std::vector<std::thread> mHelpers;

    // Of the current run: the next band that nobody took, and whether one failed.
    std::atomic<uint32_t> mNextBand = 0;
    std::atomic<bool> mFailed = false;

    android::Mutex mLock;
    android::Condition mWake;
    android::Condition mIdle;
    Run mRun GUARDED_BY(mLock);
    size_t mBusyHelpers GUARDED_BY(mLock) = 0;
    bool mStop GUARDED_BY(mLock) = false;
};

}  // namespace cl
