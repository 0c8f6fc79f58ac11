// APipeStallWatch: tells when a stage has something to do and makes no progress.
#pragma once

#include <android-base/thread_annotations.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

#include "APipeLoop.h"
#include "APipeStageRecord.h"

namespace android {

class APipe;

/// While its stage has something to do it ticks on the stage's loop, once in the stall time at
/// most, and on the loops of the two stages next to it, which see that the stage itself is stuck.
/// On a stage with nothing in it there is no tick, so that nothing wakes a sleeping device.
///
/// Threading: the first group any thread, the second the stage's loop.
class APipeStallWatch {
public:
    static constexpr int64_t kDefaultTimeUs = 1'000'000;

    /// Ticks are messages `what` to the stage.
    APipeStallWatch(const sp<APipeLoop>& loop, uint32_t what) : mLoop(loop), mWhat(what) {}

    void setTime(int64_t us) { mTimeUs = us; }
    int64_t timeUs() const { return mTimeUs; }

    /// Makes sure that a tick is on its way.
    void arm() { armFor(timeUs()); }
    bool isArmed() const { return mIsArmed.load(std::memory_order_relaxed); }

    /// The stage before this one, while there is one that has initialised it.
    void setPrevious(const wp<APipe>& stage) EXCLUDES(mMutex);
    sp<APipe> previous() const EXCLUDES(mMutex);

    /// A new loop: earlier ticks will not come.
    void begin();

    /// After a message: whether the stage has something to do, and a number that grows with its
    /// progress. True when ticks have to be armed.
    bool note(bool hasWork, int64_t progress, int64_t nowMs);

    /// A tick has come. True when a stall has begun; call arm() no more until note() says so.
    /// Otherwise the next tick is on its way while there is something to do.
    bool tick(int64_t nowMs);

    /// For how long the stage has stood, once it moves again after a stall; else -1.
    int64_t takeStandstillMs();

    /// A neighbour's activity, at a tick. True when it is busy with the same for the stall time;
    /// once for each.
    bool isStuck(const APipeActivity& neighbour, int64_t nowMs);

private:
    void armFor(int64_t delayUs);
    bool isOver(int64_t sinceMs, int64_t nowMs) const;

    const sp<APipeLoop> mLoop;
    const uint32_t mWhat;
    std::atomic<int64_t> mTimeUs = kDefaultTimeUs;
    std::atomic<bool> mIsArmed = false;

    mutable Mutex mMutex;
    wp<APipe> mPrevious GUARDED_BY(mMutex);

    bool mHasWork = false;
    bool mIsStalled = false;
    bool mHasMoved = true;  // since the last tick
    int64_t mProgress = 0;
    int64_t mSinceMs = 0;  // of the last progress, or since there is something to do
    int64_t mStandstillMs = -1;
    int64_t mToldStuckSinceMs = -1;
};

}  // namespace android
