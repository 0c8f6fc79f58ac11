// LooperScheduler: runs all loopers of a test, one message at a time, in an order drawn by a seed.
#pragma once

#include <utils/StrongPointer.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace android::host {

class ScheduledLoop;
class ScheduledLoops;

// While it exists, ALooper::start() makes no thread but attaches to it, and ALooper::GetNowUs() is
// its clock, which moves only when told. Whenever several loopers have a message due, a number
// drawn from its seed names the one that goes on; each looper keeps its own order. The same seed
// and the same program give the same run, so print it when a test fails. One at a time; loopers
// that were started before it keep their threads, those that outlive it never run again.
// Threading: bound to the thread that creates it, and so is all that its loopers run.
class LooperScheduler {
public:
    explicit LooperScheduler(uint64_t seed);
    ~LooperScheduler();
    LooperScheduler(const LooperScheduler&) = delete;
    LooperScheduler& operator=(const LooperScheduler&) = delete;

    uint64_t seed() const { return mSeed; }
    int64_t nowUs() const;

    // Handles one message of one looper; false when none is due. Not from within a message.
    bool runOne();
    // Handles messages until none is due, at most `limit`; how many it handled.
    size_t runUntilIdle(size_t limit = SIZE_MAX);
    // Moves the clock on by `us`; what becomes due waits for the next run.
    void advance(int64_t us);
    // Moves the clock to the next message that waits for its time; false when none does.
    bool advanceToNext();

private:
    const uint64_t mSeed;
    std::mt19937_64 mRandom;
    const sp<ScheduledLoops> mLoops;
    std::vector<ScheduledLoop*> mDue;  // of use within runOne() only
};

}  // namespace android::host
