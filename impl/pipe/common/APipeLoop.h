// APipeLoop: a stage's looper, its generation, and the messages that go to it.
#pragma once

#include <android-base/thread_annotations.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace android {

/// Starts and ends the loop of one stage and posts to it. A message reads from its handler which
/// looper that is registered with, when it is made and again when it is copied, and takes no lock
/// for it. So a stage registers, unregisters and makes its messages under one lock, here.
///
/// The buffers that a stage lends share its loop: whoever gives one back copies the stage's reply,
/// on a thread of its own and perhaps after the stage has gone. All other operations are for the
/// stage itself, which must be alive.
///
/// Threading: thread-safe.
class APipeLoop : public RefBase {
public:
    /// State is the stage's own.
    APipeLoop(AHandler* stage, const std::string& name, std::atomic<int32_t>* state);

    /// Starts a looper at the given nice value, registers the stage with it, and sets the state to
    /// `created`. INVALID_OPERATION while there is a looper; UNKNOWN_ERROR without a thread.
    status_t start(int32_t priority, int32_t created) EXCLUDES(mMutex);

    /// Unregisters the stage. The looper is the caller's to stop; null when there was none.
    sp<ALooper> detach() EXCLUDES(mMutex);

    bool hasLooper() const EXCLUDES(mMutex);

    sp<AMessage> newMessage(uint32_t what) const EXCLUDES(mMutex);

    /// A message that a stage takes in state `taking` only; else null, with the reason in refusal:
    /// INVALID_OPERATION without a looper, UNKNOWN_ERROR in another state. Under one lock with
    /// start(), so that a message for the looper of a new init cannot pass by the state from before
    /// it.
    sp<AMessage> newIntake(uint32_t what, int32_t taking, status_t* refusal) EXCLUDES(mMutex);

    /// How many messages newIntake() has made.
    int64_t intakeCount() const { return mIntakes.load(std::memory_order_relaxed); }

    /// A copy of a message that goes to the stage, a reply for example. Any thread, at any time;
    /// null where AMessage::dup() would end the process.
    sp<AMessage> copy(const sp<AMessage>& message) const EXCLUDES(mMutex);

    /// INVALID_OPERATION, and an error in the log that names the operation, without a looper.
    status_t post(const sp<AMessage>& message, const char* operation) const;
    /// As post(), stamped with the current generation.
    status_t postStamped(const sp<AMessage>& message, const char* operation) const;
    /// As post(), stamped with the next generation, which is the current one from then on.
    status_t postAndRaiseGeneration(uint32_t what, const char* operation) EXCLUDES(mRaiseMutex);

    /// For the stage itself, after delayUs microseconds. False, without a log, if it has no looper.
    bool postDelayed(uint32_t what, int64_t delayUs) const EXCLUDES(mMutex);

    int32_t generation() const { return mGeneration.load(std::memory_order_acquire); }
    void raiseGeneration() EXCLUDES(mRaiseMutex);
    /// To the one that a message of postAndRaiseGeneration() carries. Whoever posted it may be
    /// preempted before it has raised the generation; the loop does not wait for that: what it
    /// stamps next must carry the new one.
    void raiseGenerationOf(const sp<AMessage>& message);
    /// Whether the generation has been raised since the message was stamped.
    bool isStale(const sp<AMessage>& message) const;

protected:
    ~APipeLoop() override = default;

private:
    void raiseTo(int32_t raised);

    AHandler* const mHandler;
    const wp<AHandler> mStage;
    const std::string mName;
    std::atomic<int32_t>* const mState;
    std::atomic<int32_t> mGeneration = 0;

    mutable Mutex mMutex;
    sp<ALooper> mLooper GUARDED_BY(mMutex);
    std::atomic<int64_t> mIntakes = 0;  // written under mMutex
    // Raises of the generation, one at a time; held while a flush or release is posted for one.
    // Never held together with mMutex.
    Mutex mRaiseMutex;
};

}  // namespace android
