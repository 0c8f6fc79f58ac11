// Attaching loopers to the installed scheduler.
#include "ScheduledLoop.h"

#include <utility>

namespace android::host {

std::atomic<ScheduledLoops*> ScheduledLoops::installed{nullptr};

std::optional<int64_t> ScheduledLoop::virtualNowUs() {
    const ScheduledLoops* loops = ScheduledLoops::installed.load(std::memory_order_acquire);
    if (loops == nullptr) return std::nullopt;
    return loops->nowUs.load(std::memory_order_relaxed);
}

sp<ScheduledLoop> ScheduledLoop::attach(const sp<LooperCore>& core) {
    ScheduledLoops* loops = ScheduledLoops::installed.load(std::memory_order_acquire);
    if (loops == nullptr) return nullptr;
    auto loop = sp<ScheduledLoop>::make(core, loops);
    loops->loops.push_back(loop.get());
    return loop;
}

ScheduledLoop::ScheduledLoop(const sp<LooperCore>& core, ScheduledLoops* loops)
    : mCore(core), mLoops(loops) {}

void ScheduledLoop::handleNext() {
    mLoops->current = this;
    mCore->queue.handleNext();
    mCore->queue.endRun();
    mLoops->current = nullptr;
    if (mCore->queue.isClosed()) mCore->queue.drop();
}

void ScheduledLoop::finish() {
    std::erase(mLoops->loops, this);
    if (!isCurrent()) mCore->queue.drop();
}

}  // namespace android::host
