// SharedMemory: IMemory over a memory file.
#define LOG_TAG "SharedMemory"

#include "host/SharedMemory.h"

#include "Align.h"
#include "MemoryFile.h"

#include <utils/Log.h>

#include <memory>
#include <utility>

namespace android::host {
namespace {

using hardware::Return;
using hidl::memory::V1_0::IMemory;

class SharedMemory : public IMemory {
public:
    explicit SharedMemory(std::unique_ptr<MemoryFile> memory) : mMemory(std::move(memory)) {}

    // All users share the one mapping, so there is nothing to fetch or to hand over.
    Return<void> update() override { return {}; }
    Return<void> commit() override { return {}; }
    Return<void*> getPointer() override { return mMemory->base(); }
    Return<uint64_t> getSize() override { return mMemory->size(); }

private:
    const std::unique_ptr<MemoryFile> mMemory;
};

}  // namespace

sp<IMemory> makeSharedMemory(uint64_t size) {
    if (size == 0 || size > kMaxBufferBytes) {
        ALOGE("no shared memory of %llu bytes", static_cast<unsigned long long>(size));
        return nullptr;
    }
    auto memory = MemoryFile::make("shared memory", size);
    if (memory == nullptr) return nullptr;
    return sp<SharedMemory>::make(std::move(memory));
}

}  // namespace android::host
