// IdleLoops: what a loop does when it runs dry.
#pragma once

#include <atomic>

namespace android::host {

// A loop that runs dry sleeps at once, unless the loops of this process have run dry 60 times
// within the last millisecond: then it first gives way to other threads for up to 30 µs.
//
// At the pace of real video a thread that sleeps costs least: it uses no processor, and the system
// wakes it ahead of busy programs. When messages flow far faster, another thread of the process is
// about to post and only waits for a processor. Letting it run costs a fraction of a sleep and a
// wake-up, and the loop comes back to a handful of messages instead of one.
// Threading: thread-safe.
class IdleLoops {
public:
    // For a loop that has run dry. True as soon as `ready` is, false when it is to sleep.
    static bool giveWay(const std::atomic<bool>& ready);
};

}  // namespace android::host
