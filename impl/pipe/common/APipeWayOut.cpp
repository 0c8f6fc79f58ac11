// The way of the buffers out of a stage: home, to the next stage, or forgotten.
#define LOG_TAG "APipe"

#include <utils/Log.h>

#include "APipe.h"
#include "APipeLedger.h"
#include "APipeLoopChecker.h"
#include "APipeNotifier.h"
#include "APipePlace.h"
#include "APipeTrace.h"

namespace android {

void APipe::sendDroppedHome() {
    for (const sp<APipeItem>& item : mItemGenerator->takeDroppedItems())
        giveBack(*item, kGivenUp);
}

void APipe::giveBack(const APipeItem& item, APipeFate fate) {
    if (item.mInput != nullptr) {
        mTrace->drop(APipePlace::frameOf(item.mInput), "given up");
        giveInputBack(item.mInput, fate);
    }
    if (item.mSubInput != nullptr) giveInputBack(item.mSubInput, fate);
    if (item.mOutput != nullptr) giveOutputBack(item.mOutput, kBufferWithoutFrame, fate);
}

void APipe::notifyInputBufferDone(const sp<APipeBuffer>& buffer) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    giveInputBack(buffer, kSentHome);
}

void APipe::giveInputBack(const sp<APipeBuffer>& buffer, APipeFate fate) {
    leave(buffer, fate, "notifyInputBufferDone");
    int32_t bufferId;
    if (!buffer->getMeta()->findInt32("bufferId", &bufferId)) {
        warnWithoutReply(buffer);
        buffer->release();
        return;
    }
    int32_t surfaceId = -1;
    buffer->getMeta()->findInt32("surfaceId", &surfaceId);
    mNotifier->inputDone(kWhatInputBufferDone, bufferId, surfaceId);
}

void APipe::warnWithoutReply(const sp<APipeBuffer>& buffer) {
    if (mReplyWarningGiven || buffer->getMeta()->contains("reply")) return;
    mReplyWarningGiven = true;
    ALOGW(
        "[%s] the input of frame %lld has neither \"bufferId\" nor \"reply\": nobody can be told "
        "that it is done with; set \"bufferId\" on a buffer before queueing it",
        mName.c_str(), static_cast<long long>(APipePlace::frameOf(buffer)));
}

void APipe::notifyOutputBufferDone(const sp<APipeBuffer>& buffer, BufferFlag flag) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    const bool isSentOn = flag == kBufferWithFrame;
    if (mNextPipe != nullptr && isSentOn) return appendOutput(buffer);
    giveOutputBack(buffer, flag, isSentOn ? kSentOn : kSentHome);
}

void APipe::giveOutputBack(const sp<APipeBuffer>& buffer, BufferFlag flag, APipeFate fate) {
    leave(buffer, fate, "notifyOutputBufferDone");
    if (mNextPipe == nullptr || APipePlace::isClients(*buffer)) {
        postOutputDone(buffer, flag);
    } else {
        buffer->release();
    }
}

void APipe::leave(const sp<APipeBuffer>& buffer, APipeFate fate, const char* call) {
    const APipePlace place = APipePlace::of(*buffer);
    const bool wasSomewhere = place.stay != 0 || place.kind == APipePlace::kOnTheWayHome;
    if (mLedger->leave(buffer, fate)) return;
    ALOGE_IF(APipeLoopChecker::kIsOn && wasSomewhere,
             "[%s] %s of a buffer that is not in the stage, with frame %lld: sent home twice, or "
             "kept over a flush?",
             mName.c_str(), call, static_cast<long long>(APipePlace::frameOf(buffer)));
}

void APipe::appendOutput(const sp<APipeBuffer>& buffer) {
    mLedger->toSend(buffer);
    const sp<APipeItem> item = new APipeItem;
    item->mInput = buffer;
    int32_t someoneWaits = 0;
    buffer->getMeta()->findInt32("use-wait-buffer", &someoneWaits);
    mOutputItems.insert(someoneWaits != 0 ? mOutputItems.begin() : mOutputItems.end(), item);
}

void APipe::postOutputDone(const sp<APipeBuffer>& buffer, BufferFlag flag) {
    int32_t bufferId;
    if (!buffer->getMeta()->findInt32("bufferId", &bufferId)) {
        ALOGE("[%s] notifyOutputBufferDone buffer without \"bufferId\"", mName.c_str());
        buffer->release();
        return notifyError(UNKNOWN_ERROR);
    }
    int64_t timeUs = -1;
    if (flag == kBufferWithFrame && !buffer->getMeta()->findInt64("timeUs", &timeUs)) {
        ALOGE("[%s] notifyOutputBufferDone frame without \"timeUs\"", mName.c_str());
        notifyError(UNKNOWN_ERROR);
        flag = kBufferWithoutFrame;
    }
    if (flag == kBufferWithFrame) APipeTrace::endFrame(timeUs);
    mNotifier->outputDone(kWhatOutputBufferDone, bufferId, timeUs, flag);
}

void APipe::forgetAll() {
    if (mItemGenerator != nullptr) {
        for (const sp<APipeBuffer>& input : mItemGenerator->mInputBuffers)
            mTrace->drop(APipePlace::frameOf(input), "flushed");
    }
    for (const List<sp<APipeItem>>* items : {&mWorkItems, &mOutputItems}) {
        for (const sp<APipeItem>& item : *items)
            mTrace->drop(APipePlace::frameOf(item->mInput), "flushed");
    }
    mWorkItems.clear();
    mOutputItems.clear();
    mLedger->forget();
}

}  // namespace android
