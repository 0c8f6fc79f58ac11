// The seeded choice among loopers that have a message due.
#define LOG_TAG "LooperScheduler"

#include "ScheduledLoop.h"

#include <host/LooperScheduler.h>
#include <log/log.h>

#include <algorithm>

namespace android::host {

LooperScheduler::LooperScheduler(uint64_t seed)
    : mSeed(seed), mRandom(seed), mLoops(sp<ScheduledLoops>::make()) {
    ScheduledLoops* before = ScheduledLoops::installed.exchange(mLoops.get());
    LOG_ALWAYS_FATAL_IF(before != nullptr, "two schedulers at a time");
}

LooperScheduler::~LooperScheduler() {
    ScheduledLoops::installed.store(nullptr);
}

int64_t LooperScheduler::nowUs() const {
    return mLoops->nowUs.load(std::memory_order_relaxed);
}

bool LooperScheduler::runOne() {
    LOG_ALWAYS_FATAL_IF(mLoops->current != nullptr, "runOne() from within a message");
    mDue.clear();
    std::copy_if(mLoops->loops.begin(), mLoops->loops.end(), std::back_inserter(mDue),
                 [now = nowUs()](ScheduledLoop* loop) { return loop->nextDueUs() <= now; });
    if (mDue.empty()) return false;
    const sp<ScheduledLoop> chosen(mDue[mRandom() % mDue.size()]);
    chosen->handleNext();
    return true;
}

size_t LooperScheduler::runUntilIdle(size_t limit) {
    size_t handled = 0;
    while (handled < limit && runOne())
        ++handled;
    return handled;
}

void LooperScheduler::advance(int64_t us) {
    mLoops->nowUs.fetch_add(us, std::memory_order_relaxed);
}

bool LooperScheduler::advanceToNext() {
    int64_t next = MessageQueue::kNever;
    for (ScheduledLoop* loop : mLoops->loops)
        next = std::min(next, loop->nextDueUs());
    if (next == MessageQueue::kNever || next <= nowUs()) return false;
    mLoops->nowUs.store(next, std::memory_order_relaxed);
    return true;
}

}  // namespace android::host
