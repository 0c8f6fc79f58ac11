// FaultInjection: tests make the n-th thread start, allocation, … fail.
#pragma once

#include <cstdint>

namespace android::host {

enum class Fault {
    ThreadStart,       // ALooper::start() or a converter's helper cannot get its thread
    GraphicsAllocate,  // GraphicBuffer or shared memory: the system has no memory
    GraphicsMap,       // GraphicBuffer or shared memory: the memory cannot be mapped
    GraphicsLock,      // a GraphicBufferMapper lock whose arguments are in order
    kCount,
};

// Arms failures that hardly ever happen by themselves. Nothing is armed at the start.
// Threading: thread-safe.
class FaultInjection {
public:
    // The n-th attempt from now on fails, once; 1 is the next one. 0 disarms.
    static void failNth(Fault fault, uint32_t n);
    // Asked at the place of the fault: counts the attempt, true if it is to fail.
    static bool shouldFail(Fault fault);
    // Disarms every fault.
    static void clear();
};

}  // namespace android::host
