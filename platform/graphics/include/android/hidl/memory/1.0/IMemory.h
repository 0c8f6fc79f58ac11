// IMemory: a region of memory shared between processes.
#pragma once

#include <hidl/Status.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>

namespace android::hidl::memory::V1_0 {

// A mapped region; the mapping lives as long as the object. host/SharedMemory.h makes one.
// Threading: thread-safe, the bytes of the region excepted.
class IMemory : public virtual RefBase {
public:
    // Announces that the caller is about to write.
    virtual hardware::Return<void> update() = 0;
    // Ends what update() began: the other side may read now.
    virtual hardware::Return<void> commit() = 0;
    // First byte of the region.
    virtual hardware::Return<void*> getPointer() = 0;
    // Bytes of the region.
    virtual hardware::Return<uint64_t> getSize() = 0;

protected:
    ~IMemory() override = default;
};

}  // namespace android::hidl::memory::V1_0
