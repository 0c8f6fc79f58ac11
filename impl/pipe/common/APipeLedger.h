// APipeLedger: what has become of a stage's buffers, where they are, and what its loop is at.
#pragma once

#include <android-base/thread_annotations.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <array>
#include <atomic>
#include <cstdint>

#include "APipeBuffer.h"
#include "APipeCounts.h"
#include "APipeItemGenerator.h"
#include "APipePlace.h"
#include "APipePoolTable.h"
#include "APipeStageRecord.h"

namespace android {

/// Where a buffer goes when it leaves a stage.
enum APipeFate : size_t { kSentOn, kSentHome, kGivenUp, kFateCount };

/// The stage's loop writes it with plain stores, as things happen; anyone may read it, at any time,
/// without waiting for the loop.
///
/// A buffer's own place is what is counted by: it enters a stage when it is taken and leaves it
/// once, so what a stage of one's own sends home twice is not counted twice.
///
/// Threading: as each group of operations says.
class APipeLedger {
public:
    /// The first error of a stage since its init.
    struct Failure {
        status_t notified = OK;  ///< what the client was told
        status_t engine = OK;    ///< what the work on the frame returned, OK if that was not it
        int64_t frameUs = -1;
    };

    APipeLedger();

    // --- The stage's loop ---

    /// Begins a message: its time is that of all that happens until the next call.
    void readClock() { mNowMs.set(coarseNowMs()); }
    int64_t nowMs() const { return mNowMs.get(); }

    /// The counts start at 0 again: the stage's init message has arrived. Of the items made for its
    /// loop until now none will.
    void begin(int64_t itemsMade) EXCLUDES(mMutex);
    void enter(APipeActivity::Kind kind) {
        mActivity.set(static_cast<int64_t>(kind) | nowMs() << kActivityBits);
    }
    void enterWork(int64_t frameUs) {
        mWorkFrame.set(frameUs);
        enter(APipeActivity::kInWork);
    }

    /// An item has come out of the message queue, perhaps too late.
    void arrive(const APipeItem& item, bool isStale);
    /// An empty buffer for the generator, from a client or the stage's own pool.
    void takeOutput(const sp<APipeBuffer>& buffer);
    void toWork(const APipeItem& item);
    void toSend(const sp<APipeBuffer>& buffer) { move(buffer, APipePlace::kToSend); }
    /// The work on an item has failed; it stays where it is. Or is tried again.
    void fail(const APipeItem& item);
    void retry(const APipeItem& item);
    /// False when the buffer was not in the stage.
    bool leave(const sp<APipeBuffer>& buffer, APipeFate fate);
    /// The next stage has refused what was sent on.
    void takeBack(const sp<APipeBuffer>& buffer);
    /// A flush or release: whatever is held is the client's or the pool's again.
    void forget() EXCLUDES(mMutex);

    /// Grows with every buffer that leaves the stage.
    int64_t progress() const;
    /// How many of the buffers held are in none of the stage's lists, given how many are.
    int64_t keptBeside(int64_t listed) const { return held() + mFailedHere.get() - listed; }
    APipeStageRecord& record() { return mRecord; }
    /// The stage's pool is now this one, or none.
    void usePool(const sp<APipePoolTable>& pool) EXCLUDES(mMutex);

    // --- Any thread ---

    /// Forgets the refusals and the failure of the time before an init.
    void startAnew() EXCLUDES(mMutex);
    /// A buffer is about to be queued into this stage; it is on the way since it left the one
    /// before. False when it is in it already.
    bool announce(const sp<APipeBuffer>& buffer);
    /// Counts a refused item; true for the first of its reason since init.
    bool refuse(APipeCounts::Refusal why);
    void noteError(status_t notified) EXCLUDES(mMutex);
    void noteFailure(status_t engine, int64_t frameUs) EXCLUDES(mMutex);

    uint32_t stay() const { return mStay.load(std::memory_order_relaxed); }
    const APipeStageRecord& record() const { return mRecord; }
    APipeActivity activity() const;
    int64_t arrivedCount() const { return mArrived.get(); }
    APipeCounts counts() const;
    APipeCounts countsSinceFlush() const EXCLUDES(mMutex);
    int64_t forgottenByLastFlush() const { return mLastForgotten.get(); }
    Failure failure() const EXCLUDES(mMutex);
    sp<APipePoolTable> pool() const EXCLUDES(mMutex);

private:
    static constexpr unsigned kActivityBits = 4;

    void take(const sp<APipeBuffer>& buffer);
    void move(const sp<APipeBuffer>& buffer, APipePlace::Kind kind);
    void put(const sp<APipeBuffer>& buffer, APipePlace::Kind kind) const {
        APipePlace{kind, stay(), nowMs()}.putOn(*buffer);
    }
    bool isInside(const sp<APipeBuffer>& buffer) const {
        return APipePlace::of(*buffer).isInside(stay());
    }
    APipeCounts countsNow() const;
    APipeCounts countsAtFlush() const EXCLUDES(mMutex);
    int64_t held() const { return mTaken.get() - progress() - mFailed.get(); }
    void countFailed(int64_t change);
    void startStay();

    std::atomic<uint32_t> mStay = 0;

    // For the loop alone.
    APipeGauge mNowMs;
    APipeGauge mFailedHere;  // of mFailed, what no flush has forgotten yet
    const APipePoolTable* mKnownPool = nullptr;

    // A count that leaves the stage is written after mTaken, and read before it.
    APipeGauge mTaken;
    std::array<APipeGauge, kFateCount> mLeft;
    APipeGauge mStale;
    APipeGauge mFailed;
    APipeGauge mForgotten;
    APipeGauge mLastForgotten;
    APipeGauge mWorked;
    APipeGauge mArrived;
    APipeStageRecord mRecord;
    APipeGauge mActivity;  // its kind, and above kActivityBits since when
    APipeGauge mWorkFrame{-1};

    std::array<std::atomic<int64_t>, APipeCounts::kRefusalCount> mRefused{};

    mutable Mutex mMutex;
    APipeCounts mAtFlush GUARDED_BY(mMutex);
    Failure mFailure GUARDED_BY(mMutex);
    sp<APipePoolTable> mPool GUARDED_BY(mMutex);
};

}  // namespace android
