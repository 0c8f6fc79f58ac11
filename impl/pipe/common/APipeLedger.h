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
#include "APipePublished.h"
#include "APipeStageRecord.h"

namespace android {

/// The stage's loop writes it with plain stores while it handles a message and publishes it at the
/// end of the message and before each work. Anyone may read what is published, at any time, without
/// waiting for the loop.
///
/// A buffer's own place is what is counted by: one enters a stage when it is taken and leaves it
/// once, so what a stage of one's own sends home twice is not counted twice.
///
/// Threading: as each group of operations says.
class APipeLedger : public RefBase {
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
    void readClock() { mNowMs = coarseNowMs(); }
    int64_t nowMs() const { return mNowMs; }

    /// An item has come out of the message queue, perhaps too late.
    void arrive(const APipeItem& item, bool isStale);
    /// An empty buffer for the generator, from a client or the stage's own pool.
    void takeOutput(const sp<APipeBuffer>& buffer);
    void toWork(const APipeItem& item);
    void toSend(const sp<APipeBuffer>& buffer) { move(buffer, APipePlace::kToSend); }
    /// The work on an item has failed; it stays where it is. Or is tried again.
    void fail(const APipeItem& item);
    void retry(const APipeItem& item);
    /// A buffer leaves the stage. False when it was not in it.
    bool leave(const sp<APipeBuffer>& buffer, int64_t APipeCounts::*fate);
    /// The next stage has refused what was sent on.
    void takeBack(const sp<APipeBuffer>& buffer);
    /// A flush or release: whatever is held is the client's or the pool's again.
    void forget();

    /// The counts start at 0 again: the stage's init message has arrived. Of the items made for its
    /// loop until now none will.
    void begin(int64_t itemsMade);
    void enter(APipeActivity::Kind kind, int64_t frameUs = -1);
    /// Completes the record with the counts; listed is how many buffers are in the stage's lists.
    void publish(APipeStageRecord* record, int64_t listed);
    /// The stage's pool is now this one, or none.
    void usePool(const sp<APipePoolTable>& pool) EXCLUDES(mMutex);

    // --- Any thread ---

    /// Forgets the refusals and the failure of the time before an init.
    void startAnew() EXCLUDES(mMutex);
    /// A buffer is about to be queued into this stage. False when it is in it already.
    bool announce(const sp<APipeBuffer>& buffer);
    /// Counts a refused item; true for the first of its reason since init.
    bool refuse(APipeCounts::Refusal why);
    void noteError(status_t notified) EXCLUDES(mMutex);
    void noteFailure(status_t engine, int64_t frameUs) EXCLUDES(mMutex);

    uint32_t stay() const { return mStay.load(std::memory_order_relaxed); }
    APipeStageRecord record() const { return mRecord.read(); }
    APipeActivity activity() const { return mActivity.read(); }
    APipeCounts counts() const;
    APipeCounts countsSinceFlush() const;
    Failure failure() const EXCLUDES(mMutex);
    sp<APipePoolTable> pool() const EXCLUDES(mMutex);

protected:
    ~APipeLedger() override = default;

private:
    void take(const sp<APipeBuffer>& buffer);
    void takeInput(const sp<APipeBuffer>& buffer);
    void move(const sp<APipeBuffer>& buffer, APipePlace::Kind kind);
    void put(const sp<APipeBuffer>& buffer, APipePlace::Kind kind) const;
    bool isInside(const sp<APipeBuffer>& buffer) const;
    int64_t held() const;
    void countFailed(int64_t change);
    void startStay();
    void addRefusals(APipeCounts* counts) const;

    std::atomic<uint32_t> mStay = 0;

    // The loop's own.
    int64_t mNowMs = 0;
    int64_t mArrived = 0;
    APipeCounts mCounts;
    APipeCounts mAtFlush;
    const APipePoolTable* mKnownPool = nullptr;
    int64_t mFailedHere = 0;  // of mCounts.failed, what no flush has forgotten yet

    APipePublished<APipeStageRecord> mRecord;
    APipePublished<APipeActivity> mActivity;
    std::array<std::atomic<int64_t>, APipeCounts::kRefusalCount> mRefused{};

    mutable Mutex mMutex;
    Failure mFailure GUARDED_BY(mMutex);
    sp<APipePoolTable> mPool GUARDED_BY(mMutex);
};

}  // namespace android
