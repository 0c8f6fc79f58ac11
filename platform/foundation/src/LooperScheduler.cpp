// The choice among loopers that have a message due.
#define LOG_TAG "LooperScheduler"

#include "ScheduledLoop.h"

#include <host/LooperScheduler.h>
#include <log/log.h>

#include <algorithm>
#include <random>
#include <utility>

namespace android::host {

LooperScheduler::LooperScheduler(uint64_t seed)
    : LooperScheduler([random = std::mt19937_64(seed)](const std::vector<Due>& due) mutable {
          return random() % due.size();
      }) {}

LooperScheduler::LooperScheduler(Choose choose)
    : mChoose(std::move(choose)), mLoops(sp<ScheduledLoops>::make()) {
    ScheduledLoops* before = ScheduledLoops::installed.exchange(mLoops.get());
    LOG_ALWAYS_FATAL_IF(before != nullptr, "two schedulers at a time");
}

LooperScheduler::~LooperScheduler() {
    ScheduledLoops::installed.store(nullptr);
}

int64_t LooperScheduler::nowUs() const {
    return mLoops->nowUs.load(std::memory_order_relaxed);
}

const std::vector<LooperScheduler::Due>& LooperScheduler::due() {
    mDueLoops.clear();
    mDue.clear();
    for (ScheduledLoop* loop : mLoops->loops) {
        if (loop->nextDueUs() > nowUs()) continue;
        mDueLoops.push_back(loop);
        mDue.push_back({loop->number(), loop->name(), loop->pending()});
    }
    return mDue;
}

bool LooperScheduler::runOne() {
    LOG_ALWAYS_FATAL_IF(mLoops->current != nullptr, "runOne() from within a message");
    if (due().empty()) return false;
    const sp<ScheduledLoop> chosen(mDueLoops[mChoose(mDue)]);
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
