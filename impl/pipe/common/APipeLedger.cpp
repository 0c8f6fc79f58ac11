// What has become of a stage's buffers, where they are, and what its loop is at.
#include "APipeLedger.h"

namespace android {

namespace {

template <typename Visit>
void forEachBuffer(const APipeItem& item, const Visit& visit) {
    if (item.mInput != nullptr) visit(item.mInput);
    if (item.mSubInput != nullptr) visit(item.mSubInput);
    if (item.mOutput != nullptr) visit(item.mOutput);
}

}  // namespace

APipeLedger::APipeLedger() {
    startStay();
}

void APipeLedger::arrive(const APipeItem& item, bool isStale) {
    ++mArrived;
    if (isStale) {
        forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
            ++mCounts.taken;
            ++mCounts.stale;
            put(buffer, APipePlace::kOutside);
        });
        return;
    }
    if (item.mInput != nullptr) takeInput(item.mInput);
    if (item.mSubInput != nullptr) takeInput(item.mSubInput);
    if (item.mOutput != nullptr) takeOutput(item.mOutput);
}

void APipeLedger::takeOutput(const sp<APipeBuffer>& buffer) {
    APipePlace::setFrame(*buffer, -1);
    take(buffer);
}

void APipeLedger::takeInput(const sp<APipeBuffer>& buffer) {
    int64_t timeUs = -1;
    buffer->getMeta()->findInt64("timeUs", &timeUs);
    APipePlace::setFrame(*buffer, timeUs);
    take(buffer);
}

void APipeLedger::take(const sp<APipeBuffer>& buffer) {
    if (isInside(buffer)) return;
    ++mCounts.taken;
    put(buffer, APipePlace::kInGenerator);
}

void APipeLedger::toWork(const APipeItem& item) {
    ++mCounts.worked;
    forEachBuffer(item,
                  [this](const sp<APipeBuffer>& buffer) { move(buffer, APipePlace::kInWork); });
    if (item.mInput != nullptr && item.mOutput != nullptr) {
        APipePlace::setFrame(*item.mOutput, APipePlace::frameOf(*item.mInput));
    }
}

void APipeLedger::fail(const APipeItem& item) {
    forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
        if (!isInside(buffer)) return;
        countFailed(1);
        put(buffer, APipePlace::kFailed);
    });
}

void APipeLedger::retry(const APipeItem& item) {
    forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
        const APipePlace place = APipePlace::of(*buffer);
        if (!place.isInside(stay()) || place.kind != APipePlace::kFailed) return;
        countFailed(-1);
        put(buffer, APipePlace::kInWork);
    });
}

bool APipeLedger::leave(const sp<APipeBuffer>& buffer, int64_t APipeCounts::*fate) {
    const APipePlace place = APipePlace::of(*buffer);
    if (!place.isInside(stay())) return false;
    if (place.kind == APipePlace::kFailed) countFailed(-1);
    ++(mCounts.*fate);
    put(buffer, APipePlace::kOutside);
    return true;
}

void APipeLedger::takeBack(const sp<APipeBuffer>& buffer) {
    --mCounts.sentOn;
    put(buffer, APipePlace::kToSend);
}

void APipeLedger::forget() {
    mCounts.forgotten += held();
    mFailedHere = 0;
    mAtFlush = mCounts;
    startStay();
}

void APipeLedger::begin(int64_t itemsMade) {
    mArrived = itemsMade;
    mCounts = {};
    mAtFlush = {};
    mFailedHere = 0;
    startStay();
}

void APipeLedger::enter(APipeActivity::Kind kind, int64_t frameUs) {
    mActivity.write({kind, mNowMs, frameUs});
}

void APipeLedger::publish(APipeStageRecord* record, int64_t listed) {
    mCounts.held = held();
    mCounts.kept = mCounts.held + mFailedHere - listed;
    record->counts = mCounts;
    record->countsAtFlush = mAtFlush;
    record->arrived = mArrived;
    mRecord.write(*record);
}

void APipeLedger::usePool(const sp<APipePoolTable>& pool) {
    if (pool.get() == mKnownPool) return;
    mKnownPool = pool.get();
    const Mutex::Autolock lock(mMutex);
    mPool = pool;
}

bool APipeLedger::announce(const sp<APipeBuffer>& buffer) {
    if (isInside(buffer)) return false;
    APipePlace{APipePlace::kOnTheWay, stay(), coarseNowMs()}.putOn(*buffer);
    return true;
}

void APipeLedger::startAnew() {
    for (std::atomic<int64_t>& refused : mRefused)
        refused.store(0, std::memory_order_relaxed);
    const Mutex::Autolock lock(mMutex);
    mFailure = {};
}

bool APipeLedger::refuse(APipeCounts::Refusal why) {
    return mRefused[why].fetch_add(1, std::memory_order_relaxed) == 0;
}

void APipeLedger::noteError(status_t notified) {
    const Mutex::Autolock lock(mMutex);
    if (mFailure.notified == OK) mFailure.notified = notified;
}

void APipeLedger::noteFailure(status_t engine, int64_t frameUs) {
    const Mutex::Autolock lock(mMutex);
    if (mFailure.notified != OK) return;
    mFailure.engine = engine;
    mFailure.frameUs = frameUs;
}

APipeCounts APipeLedger::counts() const {
    APipeCounts counts = record().counts;
    addRefusals(&counts);
    return counts;
}

APipeCounts APipeLedger::countsSinceFlush() const {
    const APipeStageRecord record = this->record();
    APipeCounts counts = record.counts.since(record.countsAtFlush);
    addRefusals(&counts);
    return counts;
}

APipeLedger::Failure APipeLedger::failure() const {
    const Mutex::Autolock lock(mMutex);
    return mFailure;
}

sp<APipePoolTable> APipeLedger::pool() const {
    const Mutex::Autolock lock(mMutex);
    return mPool;
}

void APipeLedger::move(const sp<APipeBuffer>& buffer, APipePlace::Kind kind) {
    if (isInside(buffer)) put(buffer, kind);
}

void APipeLedger::put(const sp<APipeBuffer>& buffer, APipePlace::Kind kind) const {
    APipePlace{kind, stay(), mNowMs}.putOn(*buffer);
}

bool APipeLedger::isInside(const sp<APipeBuffer>& buffer) const {
    return APipePlace::of(*buffer).isInside(stay());
}

int64_t APipeLedger::held() const {
    return mCounts.taken - mCounts.sentOn - mCounts.sentHome - mCounts.givenUp - mCounts.stale -
           mCounts.failed - mCounts.forgotten;
}

void APipeLedger::countFailed(int64_t change) {
    mCounts.failed += change;
    mFailedHere += change;
}

void APipeLedger::startStay() {
    static std::atomic<uint32_t> last = 0;
    uint32_t stay = 0;
    while (stay == 0)
        stay = (last.fetch_add(1, std::memory_order_relaxed) + 1) & APipePlace::kStayMask;
    mStay.store(stay, std::memory_order_relaxed);
}

void APipeLedger::addRefusals(APipeCounts* counts) const {
    for (size_t i = 0; i < counts->refused.size(); ++i)
        counts->refused[i] = mRefused[i].load(std::memory_order_relaxed);
}

}  // namespace android
