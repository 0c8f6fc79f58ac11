// Which buffer is where, and why a job ends.
#include "job/FrameTraffic.h"

#include <utility>

#include "base/Text.h"
#include "media/LibraryLog.h"

namespace plexa {
namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr std::chrono::seconds kCheckInterval{1};

}  // namespace

void FrameTraffic::startAnew(int inputs) {
    std::scoped_lock lock(mLock);
    mEnded = false;
    mOutputsInChain = 0;
    mFreeInputs.clear();
    for (int id = 0; id < inputs; ++id)
        mFreeInputs.push_back(id);
}

// The chain owes a frame while it has one together with a buffer to put it into.
bool FrameTraffic::isOverdueLocked() const {
    return !mInChain.empty() && mOutputsInChain > 0 && Clock::now() - mLastActivity > kPatience;
}

template <typename Condition>
bool FrameTraffic::wait(std::unique_lock<std::mutex>* lock, Condition isThere) {
    while (mFailure.isOk() && !isThere()) {
        mChanged.wait_for(*lock, kCheckInterval);
        if (isOverdueLocked()) {
            failLocked(Status::error(text("the pipe has been silent for %d seconds",
                                          static_cast<int>(kPatience.count()))));
        }
    }
    return mFailure.isOk();
}

bool FrameTraffic::takeFreeInput(int* bufferId) {
    std::unique_lock lock(mLock);
    if (!wait(&lock, [this] { return !mFreeInputs.empty(); })) return false;
    *bufferId = mFreeInputs.front();
    mFreeInputs.pop_front();
    return true;
}

void FrameTraffic::inputQueued(FrameInChain frame) {
    std::scoped_lock lock(mLock);
    mLastActivity = Clock::now();
    frame.queued = mLastActivity;
    mInChain.push_back(std::move(frame));
}

bool FrameTraffic::takeFilledOutput(FilledOutput* output) {
    std::unique_lock lock(mLock);
    if (!wait(&lock, [this] { return !mFilled.empty(); })) return false;
    *output = std::move(mFilled.front());
    mFilled.pop_front();
    return true;
}

void FrameTraffic::outputQueued() {
    std::scoped_lock lock(mLock);
    mLastActivity = Clock::now();
    ++mOutputsInChain;
}

void FrameTraffic::onInputDone(int bufferId) {
    std::scoped_lock lock(mLock);
    mLastActivity = Clock::now();
    mFreeInputs.push_back(bufferId);
    mChanged.notify_all();
}

void FrameTraffic::onOutputDone(int bufferId, int64_t timeUs, bool hasFrame) {
    std::scoped_lock lock(mLock);
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
    mChanged.notify_all();
}

void FrameTraffic::onChainError(int status) {
    fail(Status::error(withLibraryError(text("the pipe failed with status %d", status))));
}

void FrameTraffic::fail(const Status& status) {
    std::scoped_lock lock(mLock);
    failLocked(status);
}

void FrameTraffic::failLocked(const Status& status) {
    if (mFailure.isOk()) mFailure = status;
    mChanged.notify_all();
}

Status FrameTraffic::failure() const {
    std::scoped_lock lock(mLock);
    return mFailure;
}

DurationSummary FrameTraffic::chainTimes() const {
    std::scoped_lock lock(mLock);
    return mChainTimes.summary();
}

}  // namespace plexa
