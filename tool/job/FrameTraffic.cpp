// Which buffer is where, and why a job ends.
#include "job/FrameTraffic.h"

#include <utility>

#include "base/Text.h"
#include "media/LibraryLog.h"

namespace plexa {

using android::Mutex;

namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr int64_t kCheckIntervalNs = 1'000'000'000;

}  // namespace

void FrameTraffic::startAnew(int inputs) {
    const Mutex::Autolock lock(mLock);
    mEnded = false;
    mOutputsInChain = 0;
    mFreeInputs.clear();
    for (int id = 0; id < inputs; ++id)
        mFreeInputs.push_back(id);
}

// The chain owes a frame while it has one together with a buffer to put it into.
bool FrameTraffic::isOverdue() const {
    return !mInChain.empty() && mOutputsInChain > 0 && Clock::now() - mLastActivity > kPatience;
}

void FrameTraffic::waitForChange() {
    mChanged.waitRelative(mLock, kCheckIntervalNs);
    if (isOverdue() && mFailure.isOk()) {
        mWasSilent = true;
        failLocked(Status::error(
            text("the pipe has been silent for %d seconds", static_cast<int>(kPatience.count()))));
    }
}

bool FrameTraffic::takeFreeInput(int* bufferId) {
    const Mutex::Autolock lock(mLock);
    while (mFailure.isOk() && mFreeInputs.empty())
        waitForChange();
    if (!mFailure.isOk()) return false;
    *bufferId = mFreeInputs.front();
    mFreeInputs.pop_front();
    return true;
}

void FrameTraffic::inputQueued(FrameInChain frame) {
    const Mutex::Autolock lock(mLock);
    mLastActivity = Clock::now();
    frame.queued = mLastActivity;
    mInChain.push_back(std::move(frame));
}

bool FrameTraffic::takeFilledOutput(FilledOutput* output) {
    const Mutex::Autolock lock(mLock);
    while (mFailure.isOk() && mFilled.empty())
        waitForChange();
    if (!mFailure.isOk()) return false;
    *output = std::move(mFilled.front());
    mFilled.pop_front();
    return true;
}

void FrameTraffic::outputQueued() {
    const Mutex::Autolock lock(mLock);
    mLastActivity = Clock::now();
    ++mOutputsInChain;
}

void FrameTraffic::onInputDone(int bufferId) {
    const Mutex::Autolock lock(mLock);
    mLastActivity = Clock::now();
    mFreeInputs.push_back(bufferId);
    mChanged.broadcast();
}

void FrameTraffic::onOutputDone(int bufferId, int64_t timeUs, bool hasFrame) {
    const Mutex::Autolock lock(mLock);
    mLastActivity = Clock::now();
    --mOutputsInChain;
    if (mEnded) return;
    if (!hasFrame) return failLocked(Status::error("the pipe dropped a frame"));
    if (mInChain.empty() || mInChain.front().timeUs != timeUs) {
        return failLocked(Status::error(text("the pipe gave out a frame of %lld us out of order",
                                             static_cast<long long>(timeUs))));
    }
    mFilled.push_back({bufferId, std::move(mInChain.front())});
    mInChain.pop_front();
    const FrameInChain& frame = mFilled.back().frame;
    mEnded = frame.isEnd;
    if (!frame.isEnd) mChainTimes.add(mLastActivity - frame.queued);
    mChanged.broadcast();
}

void FrameTraffic::onChainError(int status) {
    fail(Status::error(withLibraryError(text("the pipe failed with status %d", status))));
}

void FrameTraffic::fail(const Status& status) {
    const Mutex::Autolock lock(mLock);
    failLocked(status);
}

void FrameTraffic::failLocked(const Status& status) {
    if (mFailure.isOk()) mFailure = status;
    mChanged.broadcast();
}

Status FrameTraffic::failure() const {
    const Mutex::Autolock lock(mLock);
    return mFailure;
}

bool FrameTraffic::wasSilent() const {
    const Mutex::Autolock lock(mLock);
    return mWasSilent;
}

DurationSummary FrameTraffic::chainTimes() const {
    const Mutex::Autolock lock(mLock);
    return mChainTimes.summary();
}

}  // namespace plexa
