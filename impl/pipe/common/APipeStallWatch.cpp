// Tells when a stage has something to do and makes no progress.
#include "APipeStallWatch.h"

#include <algorithm>
#include <utility>

#include "APipe.h"

namespace android {

namespace {

constexpr int64_t kUsPerMs = 1'000;

}  // namespace

void APipeStallWatch::setPrevious(const wp<APipe>& stage) {
    const Mutex::Autolock lock(mMutex);
    mPrevious = stage;
}

sp<APipe> APipeStallWatch::previous() const {
    wp<APipe> stage;
    {
        const Mutex::Autolock lock(mMutex);
        stage = mPrevious;
    }
    return stage.promote();
}

void APipeStallWatch::begin() {
    mIsArmed = false;
    mHasWork = false;
    mIsStalled = false;
    mHasMoved = true;
    mProgress = 0;
    mStandstillMs = -1;
}

bool APipeStallWatch::note(bool hasWork, int64_t progress, int64_t nowMs) {
    const bool moves = progress != mProgress || !hasWork;
    if (moves || !mHasWork) {
        if (mIsStalled) mStandstillMs = nowMs - mSinceMs;
        mIsStalled = false;
        mHasMoved = true;
        mSinceMs = nowMs;
    }
    mProgress = progress;
    mHasWork = hasWork;
    return hasWork && !mIsStalled;
}

bool APipeStallWatch::tick(int64_t nowMs) {
    mIsArmed = false;
    if (!mHasWork || mIsStalled || timeUs() <= 0) return false;
    // Two ticks without progress are enough where the loops' clock is not the kernel's.
    if (isOver(mSinceMs, nowMs) || !std::exchange(mHasMoved, false)) {
        mIsStalled = true;
        return true;
    }
    armFor(timeUs() - (nowMs - mSinceMs) * kUsPerMs);
    return false;
}

int64_t APipeStallWatch::takeStandstillMs() {
    return std::exchange(mStandstillMs, -1);
}

bool APipeStallWatch::isStuck(const APipeActivity& neighbour, int64_t nowMs) {
    const bool isBusy =
        neighbour.kind != APipeActivity::kNone && neighbour.kind != APipeActivity::kIdle;
    if (!isBusy || mToldStuckSinceMs == neighbour.sinceMs) return false;
    if (!isOver(neighbour.sinceMs, nowMs)) {
        arm();
        return false;
    }
    mToldStuckSinceMs = neighbour.sinceMs;
    return true;
}

void APipeStallWatch::armFor(int64_t delayUs) {
    if (timeUs() <= 0 || mIsArmed.exchange(true)) return;
    if (!mLoop->postDelayed(mWhat, std::max<int64_t>(delayUs, kUsPerMs))) mIsArmed = false;
}

bool APipeStallWatch::isOver(int64_t sinceMs, int64_t nowMs) const {
    return timeUs() > 0 && (nowMs - sinceMs) * kUsPerMs >= timeUs();
}

}  // namespace android
