// GraphicsCounts: what is alive.
#include "LiveCounts.h"

#include "host/GraphicsCounts.h"

#include <atomic>

namespace android::host {
namespace {
constinit std::atomic<int64_t> gFiles{0};
constinit std::atomic<int64_t> gBytes{0};
constinit std::atomic<int64_t> gLocks{0};
}  // namespace

void countMemory(int64_t files, int64_t bytes) {
    gFiles.fetch_add(files, std::memory_order_relaxed);
    gBytes.fetch_add(bytes, std::memory_order_relaxed);
}

void countLocks(int64_t locks) {
    gLocks.fetch_add(locks, std::memory_order_relaxed);
}

GraphicsCounts graphicsCounts() {
    const int64_t files = gFiles.load(std::memory_order_relaxed);
    return {.buffers = files,
            .bytes = gBytes.load(std::memory_order_relaxed),
            .fds = files,
            .locks = gLocks.load(std::memory_order_relaxed)};
}

}  // namespace android::host
