// What the graphics stand-in holds at the moment, for tests that look for leaks.
#pragma once

#include <cstdint>

namespace android::host {

struct GraphicsCounts {
    int64_t buffers = 0;  // graphics buffers and shared memory regions that are alive
    int64_t bytes = 0;    // of their mappings
    int64_t fds = 0;      // descriptors they hold
    int64_t locks = 0;    // CPU locks that wait for their unlock

    friend bool operator==(const GraphicsCounts&, const GraphicsCounts&) = default;
};

// Threading: thread-safe; each number for itself is exact.
GraphicsCounts graphicsCounts();

}  // namespace android::host
