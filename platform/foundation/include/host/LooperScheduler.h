// LooperScheduler: runs all loopers of a test, one message at a time, in an order that is drawn.
#pragma once

#include <utils/StrongPointer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace android::host {

class ScheduledLoop;
class ScheduledLoops;

// While it exists, ALooper::start() makes no thread but attaches to it, and ALooper::GetNowUs() is
// its clock, which moves only when told. Whenever several loopers have a message due, a number
// drawn from its seed, or a function, names the one that goes on; each looper keeps its own order.
// The same seed and the same program give the same run, so print it when a test fails. One at a
// time; loopers that were started before it keep their threads, those that outlive it never run
// again.
// Threading: bound to the thread that creates it, and so is all that its loopers run.
class LooperScheduler {
public:
    // A looper with a message due. Numbers count the starts of loopers from 0.
    struct Due {
        uint64_t number;
        std::string_view name;  // valid until the next message is handled
        size_t pending;         // messages that were posted without a delay
    };
    // The index of the one that goes on, of at least one.
    using Choose = std::function<size_t(const std::vector<Due>& due)>;

    explicit LooperScheduler(uint64_t seed);
    explicit LooperScheduler(Choose choose);
    ~LooperScheduler();
    LooperScheduler(const LooperScheduler&) = delete;
    LooperScheduler& operator=(const LooperScheduler&) = delete;

    int64_t nowUs() const;

    // The loopers that have a message due. Valid until the next message is handled.
    const std::vector<Due>& due();
    // Handles one message of one looper; false when none is due. Not from within a message.
    bool runOne();
    // Handles messages until none is due, at most `limit`; how many it handled.
    size_t runUntilIdle(size_t limit = SIZE_MAX);
    // Moves the clock on by `us`; what becomes due waits for the next run.
    void advance(int64_t us);
    // Moves the clock to the next message that waits for its time; false when none does.
    bool advanceToNext();

private:
    const Choose mChoose;
    const sp<ScheduledLoops> mLoops;
    // As of the last due().
    std::vector<ScheduledLoop*> mDueLoops;
    std::vector<Due> mDue;
};

}  // namespace android::host
