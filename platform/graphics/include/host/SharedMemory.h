// Shared memory regions of the host.
#pragma once

#include <android/hidl/memory/1.0/IMemory.h>

#include <cstdint>

namespace android::host {

// A region of exactly `size` zeroed bytes over an anonymous file; null, after an error log, for
// size 0, more than 2^31 - 1 bytes, or when the system has none.
// Threading: thread-safe.
sp<hidl::memory::V1_0::IMemory> makeSharedMemory(uint64_t size);

}  // namespace android::host
