// The queue between posting threads and a looper.
#include "MessageQueue.h"

#include "IdleLoops.h"
#include "ScheduledLoop.h"

#include <media/stagefright/foundation/ALooper.h>

#include <algorithm>
#include <utility>

#include <time.h>

namespace android::host {

namespace {

// More than a chain has on its way to one loop, so that a list hardly ever grows.
constexpr size_t kUsualMessages = 256;
constexpr size_t kUsualDelayed = 4;

int64_t coarseNowUs() {
    constexpr int64_t kUsPerSecond = 1'000'000;
    constexpr int64_t kNsPerUs = 1'000;
    if (const auto virtualUs = ScheduledLoop::virtualNowUs()) return *virtualUs;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * kUsPerSecond + now.tv_nsec / kNsPerUs;
}

}  // namespace

MessageQueue::MessageQueue() {
    mPosted.reserve(kUsualMessages);
    mBatch.reserve(kUsualMessages);
    mDelayed.reserve(kUsualDelayed);
}

bool MessageQueue::push(const sp<AMessage>& message, int64_t delayUs) {
    // Keeps the queue while it is woken: the message, handled by then, may have been its last
    // owner.
    sp<MessageQueue> sleeper;
    {
        const Mutex::Autolock lock(mLock);
        if (mClosed) return false;
        if (delayUs > 0) {
            const int64_t nowUs = ALooper::GetNowUs();
            addDelayed(message, nowUs + std::min(delayUs, kNever - 1 - nowUs));
        } else {
            mPosted.push_back({message, orderUs()});
            // Relaxed: a hint; what was posted is read under the lock.
            mHasPosted.store(true, std::memory_order_relaxed);
        }
        if (std::exchange(mSleeping, false)) sleeper = this;
    }
    if (sleeper != nullptr) sleeper->mWake.signal();
    return true;
}

void MessageQueue::stop() {
    const Mutex::Autolock lock(mLock);
    mStopped.store(true);
    mWake.signal();
}

void MessageQueue::close() {
    const Mutex::Autolock lock(mLock);
    mClosed = true;
}

bool MessageQueue::handleNext() {
    const sp<AMessage> message = isStopped() ? nullptr : take();
    if (message == nullptr) return false;
    message->deliver();
    return true;
}

sp<AMessage> MessageQueue::take() {
    if (!isBatchDone() && mBatch[mNext].timeUs == 0) return takeNextOfBatch();
    const Mutex::Autolock lock(mLock);
    if (isBatchDone()) swapBatch();
    if (!mDelayed.empty()) {
        const int64_t nowUs = isBatchDone() ? ALooper::GetNowUs() : mBatch[mNext].timeUs;
        if (firstDelayedUs() <= nowUs) {
            const sp<AMessage> first = std::move(mDelayed.back().message);
            mDelayed.pop_back();
            return first;
        }
    }
    return isBatchDone() ? nullptr : takeNextOfBatch();
}

void MessageQueue::swapBatch() {
    mBatch.clear();
    mNext = 0;
    mBatch.swap(mPosted);
    mHasPosted.store(false, std::memory_order_relaxed);
}

int64_t MessageQueue::orderUs() const {
    // The coarse clock, at a quarter of the price, is behind by a tick at most.
    constexpr int64_t kTickUs = 10'000;
    if (mDelayed.empty() || coarseNowUs() + kTickUs < firstDelayedUs()) return 0;
    return ALooper::GetNowUs();
}

void MessageQueue::addDelayed(const sp<AMessage>& message, int64_t dueUs) {
    // Before those of the same time, which were posted earlier and so are taken first.
    const auto isLater = [](const Delayed& delayed, int64_t us) { return delayed.dueUs > us; };
    mDelayed.insert(std::lower_bound(mDelayed.begin(), mDelayed.end(), dueUs, isLater),
                    {dueUs, message});
}

int64_t MessageQueue::firstDelayedUs() const {
    return mDelayed.empty() ? kNever : mDelayed.back().dueUs;
}

int64_t MessageQueue::nextDueUs() {
    if (isStopped()) return kNever;
    const Mutex::Autolock lock(mLock);
    return isBatchDone() && mPosted.empty() ? firstDelayedUs() : 0;
}

size_t MessageQueue::pending() {
    const Mutex::Autolock lock(mLock);
    return mPosted.size() + mBatch.size() - mNext;
}

void MessageQueue::wait() {
    if (IdleLoops::giveWay(mHasPosted)) return;
    constexpr int64_t kNsPerUs = 1'000;
    constexpr int64_t kLongestUs = 3'600'000'000;  // so that adding it to the clock fits
    const Mutex::Autolock lock(mLock);
    while (mPosted.empty() && !isStopped()) {
        mSleeping = true;
        if (mDelayed.empty()) {
            mWake.wait(mLock);
            continue;
        }
        const int64_t delayUs = firstDelayedUs() - ALooper::GetNowUs();
        if (delayUs <= 0) break;
        mWake.waitRelative(mLock, std::min(delayUs, kLongestUs) * kNsPerUs);
    }
    mSleeping = false;
}

void MessageQueue::drop() {
    std::vector<Delayed> delayed;
    std::vector<Posted> posted;
    {
        const Mutex::Autolock lock(mLock);
        delayed.swap(mDelayed);
        posted.swap(mPosted);
        mHasPosted.store(false, std::memory_order_relaxed);
    }
    // Outside the lock: what a message held may post as it goes.
    mNext = 0;
    mBatch.clear();
}

}  // namespace android::host
