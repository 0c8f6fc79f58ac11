// ScheduledLoop: a looper's queue under a test's scheduler.
#pragma once

#include "LoopDriver.h"
#include "MessageQueue.h"

#include <utils/LightRefBase.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace android::host {

class ScheduledLoop;

// The loops and the clock of one scheduler, shared with loopers that outlive it.
// Threading: the clock is thread-safe, the rest bound to the scheduler's thread.
class ScheduledLoops : public LightRefBase<ScheduledLoops> {
public:
    // Not 0, which in a queue stands for a time not taken.
    static constexpr int64_t kStartUs = 1'000'000;

    std::atomic<int64_t> nowUs{kStartUs};
    std::vector<ScheduledLoop*> loops;  // in the order of their start
    uint64_t started = 0;
    const ScheduledLoop* current = nullptr;

    // The loops of the installed scheduler, null without one.
    static std::atomic<ScheduledLoops*> installed;
};

// Threading: bound to the scheduler's thread.
class ScheduledLoop : public LoopDriver {
public:
    // The scheduler's time, nothing when no scheduler is installed.
    static std::optional<int64_t> virtualNowUs();
    // A driver for the queue, null when no scheduler is installed.
    static sp<ScheduledLoop> attach(const sp<MessageQueue>& queue, const std::string& name);

    ScheduledLoop(const sp<MessageQueue>& queue, const std::string& name, ScheduledLoops* loops);

    uint64_t number() const { return mNumber; }
    const std::string& name() const { return mName; }
    int64_t nextDueUs() { return mQueue->nextDueUs(); }
    size_t pending() { return mQueue->pending(); }
    void handleNext();

    bool isCurrent() const override { return mLoops->current == this; }
    void finish() override;

protected:
    ~ScheduledLoop() override = default;

private:
    void end();

    const sp<MessageQueue> mQueue;
    const std::string mName;
    const sp<ScheduledLoops> mLoops;
    const uint64_t mNumber;
};

}  // namespace android::host
