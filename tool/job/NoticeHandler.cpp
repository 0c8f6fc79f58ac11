// The client's ear: takes the notices of all stages of a chain.
#include "job/NoticeHandler.h"

namespace plexa {

using android::AMessage;
using android::APipe;
using android::Mutex;
using android::sp;

namespace {

// Far longer than a stage takes to start or to end, even under a sanitizer.
constexpr int64_t kDeadlineNs = 60'000'000'000;

}  // namespace

void NoticeHandler::startAnew() {
    const Mutex::Autolock lock(mLock);
    mNotices.clear();
}

bool NoticeHandler::waitForInit() {
    waitForEither(APipe::kWhatInitCompleted, APipe::kWhatError);
    const Mutex::Autolock lock(mLock);
    return mNotices.contains(APipe::kWhatInitCompleted);
}

void NoticeHandler::waitForRelease() {
    waitForEither(APipe::kWhatReleaseCompleted, APipe::kWhatReleaseCompleted);
}

void NoticeHandler::waitForEither(APipe::Notice one, APipe::Notice other) {
    const Mutex::Autolock lock(mLock);
    while (!mNotices.contains(one) && !mNotices.contains(other)) {
        if (mArrived.waitRelative(mLock, kDeadlineNs) == android::TIMED_OUT) return;
    }
}

void NoticeHandler::keep(int32_t notice) {
    const Mutex::Autolock lock(mLock);
    mNotices.insert(notice);
    mArrived.broadcast();
}

void NoticeHandler::onMessageReceived(const sp<AMessage>& msg) {
    int32_t what = 0;
    int32_t bufferId = -1;
    int32_t detail = 0;
    int64_t timeUs = -1;
    msg->findInt32("what", &what);
    msg->findInt32("bufferId", &bufferId);
    switch (what) {
        case APipe::kWhatInputBufferDone:
            return mTraffic->onInputDone(bufferId);
        case APipe::kWhatOutputBufferDone:
            msg->findInt64("timeUs", &timeUs);
            msg->findInt32("flag", &detail);
            return mTraffic->onOutputDone(bufferId, timeUs, detail == APipe::kBufferWithFrame);
        case APipe::kWhatError:
            msg->findInt32("err", &detail);
            mTraffic->onChainError(detail);
            return keep(what);
        default:
            return keep(what);
    }
}

}  // namespace plexa
