// MessageQueue: the messages of one looper, posted from any thread, handled on one.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/Condition.h>
#include <utils/LightRefBase.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace android::host {

// Posters append to one list while the consumer works through another; the consumer swaps the two
// when its own is empty, so it takes the lock once per batch and neither list gives up its memory.
// Delayed messages wait in a list of their own, by due time.
//
// A message is due when it is posted, or when its delay is over; of two that are due at one time
// the one posted first goes first. Reading the clock costs as much as the rest of a push, so an
// undelayed message carries its time only if a delayed one was nearly due when it was posted:
// otherwise everything delayed is due later.
//
// Stopped from the start, until start(). A stopped queue still takes messages; a closed one does
// not. Shared by the looper, its thread and the registrations of its handlers.
// Threading: push(), start(), stop() and close() are thread-safe. The rest is the consumer's, which
// may pass from one thread to another if one happens before the other.
class MessageQueue : public LightRefBase<MessageQueue> {
public:
    static constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

    MessageQueue();

    // False, and nothing is kept, once the queue is closed.
    bool push(const sp<AMessage>& message, int64_t delayUs) EXCLUDES(mLock);
    void start() { mStopped.store(false); }
    // No message is handed out until start(); wakes the consumer.
    void stop() EXCLUDES(mLock);
    bool isStopped() const { return mStopped.load(); }
    // Refuses messages from here on.
    void close() EXCLUDES(mLock);

    // Has the next message handled; false if none is due or the queue is stopped.
    bool handleNext();
    // When the next message is due: 0 for at once, kNever for none.
    int64_t nextDueUs() EXCLUDES(mLock);
    // How many messages were posted without a delay and wait.
    size_t pending() EXCLUDES(mLock);
    // Sleeps until a message is due or the queue is stopped; may also return without a reason.
    void wait() EXCLUDES(mLock);
    // Destroys what the queue holds.
    void drop() EXCLUDES(mLock);

private:
    struct Posted {
        sp<AMessage> message;
        int64_t timeUs;  // 0: before everything delayed
    };

    struct Delayed {
        int64_t dueUs;
        sp<AMessage> message;
    };

    sp<AMessage> take() EXCLUDES(mLock);
    sp<AMessage> takeNextOfBatch() { return std::move(mBatch[mNext++].message); }
    bool isBatchDone() const { return mNext == mBatch.size(); }
    void swapBatch() REQUIRES(mLock);
    // The time of a message that is posted now; 0 when it is before everything delayed.
    int64_t orderUs() const REQUIRES(mLock);
    void addDelayed(const sp<AMessage>& message, int64_t dueUs) REQUIRES(mLock);
    int64_t firstDelayedUs() const REQUIRES(mLock);

    Mutex mLock;
    Condition mWake;
    std::vector<Posted> mPosted GUARDED_BY(mLock);    // undelayed, in posting order
    std::vector<Delayed> mDelayed GUARDED_BY(mLock);  // the first that is due last
    bool mSleeping GUARDED_BY(mLock) = false;
    bool mClosed GUARDED_BY(mLock) = false;
    // Whether mPosted holds anything, for a consumer that gives way before it takes the lock.
    std::atomic<bool> mHasPosted{false};
    std::atomic<bool> mStopped{true};

    // The consumer's.
    std::vector<Posted> mBatch;
    size_t mNext = 0;  // the first of mBatch that is not taken yet
};

}  // namespace android::host
