// The counters behind graphicsCounts().
#pragma once

#include <cstdint>

namespace android::host {

// A file with its mapping has come (1) or gone (-1). Threading: thread-safe.
void countMemory(int64_t files, int64_t bytes);

// CPU locks have come or gone. Threading: thread-safe.
void countLocks(int64_t locks);

}  // namespace android::host
