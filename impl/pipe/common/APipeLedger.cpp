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

void noteFrame(const sp<APipeBuffer>& input) {
    int64_t timeUs = -1;
    input->getMeta()->findInt64("timeUs", &timeUs);
    APipePlace::setFrame(*input, timeUs);
}

}  // namespace

APipeLedger::APipeLedger() {
    startStay();
}

// --- The stage's loop ---

void APipeLedger::begin(int64_t itemsMade) {
    mArrived.set(itemsMade);
    for (APipeGauge& left : mLeft)
        left.set(0);
    for (APipeGauge* count : {&mStale, &mFailed, &mForgotten, &mLastForgotten, &mWorked, &mTaken})
        count->set(0);
    mFailedHere.set(0);
    const Mutex::Autolock lock(mMutex);
    mAtFlush = {};
    startStay();
}

void APipeLedger::arrive(const APipeItem& item, bool isStale) {
    mArrived.add(1);
    if (isStale) {
        forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
            mTaken.add(1);
            mStale.add(1);
            put(buffer, APipePlace::kOutside);
        });
        return;
    }
    for (const sp<APipeBuffer>* input : {&item.mInput, &item.mSubInput}) {
        if (*input == nullptr) continue;
        noteFrame(*input);
        take(*input);
    }
    if (item.mOutput != nullptr) takeOutput(item.mOutput);
}

void APipeLedger::takeOutput(const sp<APipeBuffer>& buffer) {
    APipePlace::setFrame(*buffer, -1);
    take(buffer);
}

void APipeLedger::toWork(const APipeItem& item) {
    mWorked.add(1);
    forEachBuffer(item,
                  [this](const sp<APipeBuffer>& buffer) { move(buffer, APipePlace::kInWork); });
    if (item.mOutput != nullptr)
        APipePlace::setFrame(*item.mOutput, APipePlace::frameOf(item.mInput));
}

void APipeLedger::fail(const APipeItem& item) {
    forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
        if (!isInside(buffer)) return;
        countFailed(1);
        put(buffer, APipePlace::kFailed);
    });
}

void APipeLedger::retry(const APipeItem& item) {
    if (mFailedHere.get() == 0) return;
    forEachBuffer(item, [this](const sp<APipeBuffer>& buffer) {
        const APipePlace place = APipePlace::of(*buffer);
        if (!place.isInside(stay()) || place.kind != APipePlace::kFailed) return;
        countFailed(-1);
        put(buffer, APipePlace::kInWork);
    });
}

bool APipeLedger::leave(const sp<APipeBuffer>& buffer, APipeFate fate) {
    const APipePlace place = APipePlace::of(*buffer);
    if (!place.isInside(stay())) return false;
    if (place.kind == APipePlace::kFailed) countFailed(-1);
    mLeft[fate].add(1);
    put(buffer, APipePlace::kOutside);
    return true;
}

void APipeLedger::takeBack(const sp<APipeBuffer>& buffer) {
    mLeft[kSentOn].add(-1);
    put(buffer, APipePlace::kToSend);
}

void APipeLedger::forget() {
    mLastForgotten.set(held());
    mForgotten.add(mLastForgotten.get());
    mFailedHere.set(0);
    const APipeCounts now = countsNow();
    const Mutex::Autolock lock(mMutex);
    mAtFlush = now;
    startStay();
}

int64_t APipeLedger::progress() const {
    int64_t left = mStale.get() + mForgotten.get();
    for (const APipeGauge& fate : mLeft)
        left += fate.get();
    return left;
}

void APipeLedger::usePool(const sp<APipePoolTable>& pool) {
    if (pool.get() == mKnownPool) return;
    mKnownPool = pool.get();
    const Mutex::Autolock lock(mMutex);
    mPool = pool;
}

void APipeLedger::take(const sp<APipeBuffer>& buffer) {
    if (isInside(buffer)) return;
    mTaken.add(1);
    put(buffer, APipePlace::kInGenerator);
}

void APipeLedger::move(const sp<APipeBuffer>& buffer, APipePlace::Kind kind) {
    if (isInside(buffer)) put(buffer, kind);
}

void APipeLedger::countFailed(int64_t change) {
    mFailed.add(change);
    mFailedHere.add(change);
}

void APipeLedger::startStay() {
    static std::atomic<uint32_t> last = 0;
    uint32_t stay = 0;
    while (stay == 0)
        stay = (last.fetch_add(1, std::memory_order_relaxed) + 1) & APipePlace::kStayMask;
    mStay.store(stay, std::memory_order_relaxed);
}

// --- Any thread ---

void APipeLedger::startAnew() {
    for (std::atomic<int64_t>& refused : mRefused)
        refused.store(0, std::memory_order_relaxed);
    const Mutex::Autolock lock(mMutex);
    mFailure = {};
}

bool APipeLedger::announce(const sp<APipeBuffer>& buffer) {
    const APipePlace before = APipePlace::of(*buffer);
    if (before.isInside(stay())) return false;
    APipePlace{APipePlace::kOnTheWay, stay(), before.sinceMs}.putOn(*buffer);
    return true;
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

APipeActivity APipeLedger::activity() const {
    const int64_t word = mActivity.get();
    constexpr int64_t kMask = (1 << kActivityBits) - 1;
    const auto kind = static_cast<APipeActivity::Kind>(word & kMask);
    const int64_t frameUs = kind == APipeActivity::kInWork ? mWorkFrame.get() : -1;
    return {kind, word >> kActivityBits, frameUs};
}

// An init, which sets them back, and a flush begin a new stay.
APipeCounts APipeLedger::counts() const {
    for (;;) {
        const uint32_t begun = stay();
        const APipeCounts counts = countsNow();
        if (stay() == begun) return counts;
    }
}

APipeCounts APipeLedger::countsNow() const {
    APipeCounts counts;
    counts.sentOn = mLeft[kSentOn].get();
    counts.sentHome = mLeft[kSentHome].get();
    counts.givenUp = mLeft[kGivenUp].get();
    counts.stale = mStale.get();
    counts.failed = mFailed.get();
    counts.forgotten = mForgotten.get();
    counts.worked = mWorked.get();
    counts.kept = mRecord.kept.get();
    // Last, so that what has left was taken.
    counts.taken = mTaken.get();
    counts.held = counts.taken - counts.sentOn - counts.sentHome - counts.givenUp - counts.stale -
                  counts.failed - counts.forgotten;
    for (size_t i = 0; i < mRefused.size(); ++i)
        counts.refused[i] = mRefused[i].load(std::memory_order_relaxed);
    return counts;
}

APipeCounts APipeLedger::countsAtFlush() const {
    const Mutex::Autolock lock(mMutex);
    return mAtFlush;
}

APipeCounts APipeLedger::countsSinceFlush() const {
    for (;;) {
        const uint32_t begun = stay();
        const APipeCounts before = countsAtFlush();
        const APipeCounts now = countsNow();
        if (stay() == begun) return now.since(before);
    }
}

APipeLedger::Failure APipeLedger::failure() const {
    const Mutex::Autolock lock(mMutex);
    return mFailure;
}

sp<APipePoolTable> APipeLedger::pool() const {
    const Mutex::Autolock lock(mMutex);
    return mPool;
}

}  // namespace android
