// GraphicAllocation: allocation and the register of living buffers.
#define LOG_TAG "GraphicAllocation"

#include "GraphicAllocation.h"

#include "LiveCounts.h"

#include <utils/Log.h>
#include <utils/Mutex.h>

#include <unordered_map>
#include <utility>

namespace android::host {
namespace {

std::atomic<size_t> gRowPadding = 0;

struct Register {
    Mutex lock;
    std::unordered_map<buffer_handle_t, std::shared_ptr<GraphicAllocation>> living GUARDED_BY(lock);
};

// Never destroyed: buffers may go as late as static objects do.
Register& theRegister() {
    static auto* instance = new Register;
    return *instance;
}

native_handle_t* makeHandle(const MemoryFile& memory) {
    native_handle_t* handle = native_handle_create(/*numFds=*/1, /*numInts=*/0);
    if (handle != nullptr) handle->data[0] = memory.fd();
    return handle;
}

}  // namespace

GraphicAllocation::GraphicAllocation(BufferRequest request, const BufferLayout& layout,
                                     std::unique_ptr<MemoryFile> memory, native_handle_t* handle)
    : mRequest(std::move(request)), mLayout(layout), mMemory(std::move(memory)), mHandle(handle) {}

GraphicAllocation::~GraphicAllocation() {
    if (const int locks = mLocks; locks != 0) {
        ALOGW("%s: %ux%u buffer freed with %d CPU locks", mRequest.name.c_str(), mRequest.width,
              mRequest.height, locks);
        countLocks(-locks);
    }
    native_handle_delete(mHandle);
}

void GraphicAllocation::addLock() {
    mLocks.fetch_add(1);
    countLocks(1);
}

bool GraphicAllocation::removeLock() {
    int locks = mLocks;
    do {
        if (locks == 0) return false;
    } while (!mLocks.compare_exchange_weak(locks, locks - 1));
    countLocks(-1);
    return true;
}

void setRowPadding(size_t rowPadding) {
    gRowPadding = rowPadding;
}

status_t allocateGraphics(BufferRequest request, std::shared_ptr<GraphicAllocation>* out) {
    const auto layout =
        BufferLayout::of(request.width, request.height, request.format, gRowPadding);
    if (!layout) {
        ALOGE("%s: no buffer of %ux%u in format %#x", request.name.c_str(), request.width,
              request.height, static_cast<unsigned>(request.format));
        return BAD_VALUE;
    }
    auto memory = MemoryFile::make(request.name, layout->size);
    if (memory == nullptr) return NO_MEMORY;
    native_handle_t* handle = makeHandle(*memory);
    if (handle == nullptr) return NO_MEMORY;

    auto allocation =
        std::make_shared<GraphicAllocation>(std::move(request), *layout, std::move(memory), handle);
    Register& all = theRegister();
    const Mutex::Autolock guard(all.lock);
    all.living.emplace(handle, allocation);
    *out = std::move(allocation);
    return OK;
}

std::shared_ptr<GraphicAllocation> findGraphics(buffer_handle_t handle) {
    Register& all = theRegister();
    const Mutex::Autolock guard(all.lock);
    const auto found = all.living.find(handle);
    return found == all.living.end() ? nullptr : found->second;
}

void freeGraphics(buffer_handle_t handle) {
    std::shared_ptr<GraphicAllocation> gone;  // destroyed outside the lock
    Register& all = theRegister();
    const Mutex::Autolock guard(all.lock);
    const auto found = all.living.find(handle);
    if (found == all.living.end()) return;
    gone = std::move(found->second);
    all.living.erase(found);
}

}  // namespace android::host
