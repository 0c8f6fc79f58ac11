// The log's threshold, in reach of the macros.
#pragma once

#include <atomic>
#include <cstdint>

namespace android::host {

extern std::atomic<int32_t> gLogMinimumPriority;

inline bool isLogged(int32_t priority) {
    return priority >= gLogMinimumPriority.load(std::memory_order_relaxed);
}

}  // namespace android::host
