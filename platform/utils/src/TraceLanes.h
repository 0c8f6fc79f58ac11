// The lanes of all threads.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "TraceLane.h"

namespace android::host {

// A lane for each thread that traces. They are made when they are needed and never freed; that of a
// thread which has ended is for the next one. A thread that finds none stays without.
// Threading: thread-safe.
class TraceLanes {
public:
    static constexpr size_t kMaxThreads = 64;

    // The calling thread's; null if there are too many, and the event is counted as left out.
    TraceLane* mine();

    // Calls use(lane) for each lane that there is.
    template <typename Use>
    void forEach(Use use) const {
        for (const auto& slot : mLanes) {
            TraceLane* lane = slot.load(std::memory_order_acquire);
            if (lane != nullptr) use(*lane);
        }
    }

    uint64_t leftOut() const;
    void setCrowded(bool crowded) { mCrowded.store(crowded, std::memory_order_relaxed); }

private:
    TraceLane* take();

    std::atomic<bool> mCrowded{true};  // until a writer is there
    std::atomic<uint64_t> mLeftOut{0};
    std::array<std::atomic<TraceLane*>, kMaxThreads> mLanes{};
};

}  // namespace android::host
