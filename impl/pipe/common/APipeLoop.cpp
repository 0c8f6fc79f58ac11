// A stage's looper, its generation, and the messages that go to it.
#define LOG_TAG "APipe"

#include "APipeLoop.h"

#include <log/log.h>
#include <media/stagefright/foundation/ADebug.h>

#include <utility>

#include "APipeMessages.h"

namespace android {

APipeLoop::APipeLoop(AHandler* stage, const std::string& name, std::atomic<int32_t>* state)
    : mHandler(stage), mStage(stage), mName(name), mState(state) {}

status_t APipeLoop::start(int32_t priority, int32_t created) {
    const Mutex::Autolock lock(mMutex);
    if (mLooper != nullptr) {
        ALOGE("[%s] init while the looper runs", mName.c_str());
        return INVALID_OPERATION;
    }
    const sp<ALooper> looper = new ALooper;
    looper->setName((mName + "_Looper").c_str());
    const status_t err =
        looper->start(false /* runOnCallingThread */, false /* canCallJava */, priority);
    if (err != OK) {
        ALOGE("[%s] init failed to start the looper (err %d)", mName.c_str(), err);
        return UNKNOWN_ERROR;
    }
    looper->registerHandler(mHandler);
    mLooper = looper;
    *mState = created;
    return OK;
}

sp<ALooper> APipeLoop::detach() {
    const Mutex::Autolock lock(mMutex);
    if (mLooper != nullptr) mLooper->unregisterHandler(mHandler->id());
    return std::move(mLooper);
}

bool APipeLoop::hasLooper() const {
    const Mutex::Autolock lock(mMutex);
    return mLooper != nullptr;
}

sp<AMessage> APipeLoop::newMessage(uint32_t what) const {
    const Mutex::Autolock lock(mMutex);
    return new AMessage(what, mHandler);
}

sp<AMessage> APipeLoop::newIntake(uint32_t what, int32_t taking, status_t* refusal) {
    const Mutex::Autolock lock(mMutex);
    if (*mState != taking) {
        *refusal = UNKNOWN_ERROR;
        return nullptr;
    }
    if (mLooper == nullptr) {
        *refusal = INVALID_OPERATION;
        return nullptr;
    }
    // No read-modify-write: one writer at a time.
    mIntakes.store(intakeCount() + 1, std::memory_order_relaxed);
    return new AMessage(what, mHandler);
}

sp<AMessage> APipeLoop::copy(const sp<AMessage>& message) const {
    // dup() holds the stage for a moment. Its end, if that was the last reference, takes the lock.
    const sp<AHandler> stage = mStage.promote();
    const Mutex::Autolock lock(mMutex);
    return APipeMessages::copy(mName.c_str(), message);
}

status_t APipeLoop::post(const sp<AMessage>& message, const char* operation) const {
    if (message->post() == OK) return OK;
    ALOGE("[%s] %s without a looper: not initialised, or released", mName.c_str(), operation);
    return INVALID_OPERATION;
}

status_t APipeLoop::postStamped(const sp<AMessage>& message, const char* operation) const {
    message->setInt32("generation", generation());
    return post(message, operation);
}

status_t APipeLoop::postAndRaiseGeneration(uint32_t what, const char* operation) {
    const sp<AMessage> message = newMessage(what);
    const Mutex::Autolock lock(mRaiseMutex);
    const int32_t raised = generation() + 1;
    message->setInt32("generation", raised);
    const status_t err = post(message, operation);
    // Only now, so that nothing stamped with the new generation is posted ahead of the message.
    raiseTo(raised);
    return err;
}

bool APipeLoop::postDelayed(uint32_t what, int64_t delayUs) const {
    sp<AMessage> message;
    {
        const Mutex::Autolock lock(mMutex);
        if (mLooper == nullptr) return false;
        message = new AMessage(what, mHandler);
    }
    return message->post(delayUs) == OK;
}

void APipeLoop::raiseGeneration() {
    const Mutex::Autolock lock(mRaiseMutex);
    raiseTo(generation() + 1);
}

void APipeLoop::raiseGenerationOf(const sp<AMessage>& message) {
    int32_t raised;
    if (message->findInt32("generation", &raised)) raiseTo(raised);
}

bool APipeLoop::isStale(const sp<AMessage>& message) const {
    int32_t stamped;
    CHECK(message->findInt32("generation", &stamped));
    return stamped != generation();
}

void APipeLoop::raiseTo(int32_t raised) {
    int32_t now = mGeneration.load(std::memory_order_relaxed);
    while (now < raised &&
           !mGeneration.compare_exchange_weak(now, raised, std::memory_order_release)) {
    }
}

}  // namespace android
