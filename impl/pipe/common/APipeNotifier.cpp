// A stage's talk with its client.
#define LOG_TAG "APipe"

#include "APipeNotifier.h"

#include <log/log.h>

#include "APipeMessages.h"

namespace android {

namespace {

// To watch one takes a lock and changes its weak count.
constexpr int64_t kWatchedOneIn = 16;

}  // namespace

APipeNotifier::APipeNotifier(const sp<AMessage>& notify, const std::string& stage)
    : mNotify(notify), mStage(stage) {}

void APipeNotifier::error(int32_t what, int32_t err) {
    const sp<AMessage> notice = create(what);
    if (notice == nullptr) return;
    notice->setInt32("err", err);
    post(notice);
}

void APipeNotifier::inputDone(int32_t what, int32_t bufferId, int32_t surfaceId) {
    const sp<AMessage> notice = create(what);
    if (notice == nullptr) return;
    notice->setInt32("bufferId", bufferId);
    notice->setInt32("surfaceId", surfaceId);
    post(notice);
}

void APipeNotifier::outputDone(int32_t what, int32_t bufferId, int64_t timeUs, int32_t flag) {
    const sp<AMessage> notice = create(what);
    if (notice == nullptr) return;
    notice->setInt32("bufferId", bufferId);
    notice->setInt64("timeUs", timeUs);
    notice->setInt32("flag", flag);
    post(notice);
}

void APipeNotifier::extraData(int32_t what, const sp<ABuffer>& data) {
    const sp<AMessage> notice = create(what);
    if (notice == nullptr) return;
    notice->setBuffer("extra_data", data);
    post(notice);
}

void APipeNotifier::completed(int32_t what) {
    const sp<AMessage> notice = create(what);
    if (notice != nullptr) post(notice);
}

sp<AMessage> APipeNotifier::create(int32_t what) const {
    if (mNotify == nullptr) return nullptr;
    sp<AMessage> notice = APipeMessages::copy(mStage.c_str(), mNotify);
    if (notice != nullptr) notice->setInt32("what", what);
    return notice;
}

void APipeNotifier::post(const sp<AMessage>& notice) {
    const int64_t number = mPosted.fetch_add(1, std::memory_order_relaxed) + 1;
    if (number % kWatchedOneIn == 1 && untakenCount() == 0) {
        const Mutex::Autolock lock(mMutex);
        mWatched = {notice, number};
    }
    notice->post();
}

int64_t APipeNotifier::untakenCount() const {
    const Watched watched = this->watched();
    // Outside the lock: what a notice holds may call this stage as it goes.
    return watched.notice.promote() != nullptr ? postedCount() - watched.number + 1 : 0;
}

APipeNotifier::Watched APipeNotifier::watched() const {
    const Mutex::Autolock lock(mMutex);
    return mWatched;
}

}  // namespace android
