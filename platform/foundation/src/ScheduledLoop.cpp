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

sp<ScheduledLoop> ScheduledLoop::attach(const sp<MessageQueue>& queue, const std::string& name) {
    ScheduledLoops* loops = ScheduledLoops::installed.load(std::memory_order_acquire);
    if (loops == nullptr) return nullptr;
    auto loop = sp<ScheduledLoop>::make(queue, name, loops);
    loops->loops.push_back(loop.get());
    return loop;
}

ScheduledLoop::ScheduledLoop(const sp<MessageQueue>& queue, const std::string& name,
                             ScheduledLoops* loops)
    : mQueue(queue), mName(name), mLoops(loops), mNumber(loops->started++) {}

void ScheduledLoop::handleNext() {
    mLoops->current = this;
    mQueue->handleNext();
    mLoops->current = nullptr;
    if (mQueue->isStopped()) end();
}

void ScheduledLoop::finish() {
    if (!isCurrent()) end();
}

void ScheduledLoop::end() {
    if (std::erase(mLoops->loops, this) > 0) mQueue->drop();
}

}  // namespace android::host
