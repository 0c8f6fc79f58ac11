// GraphicBufferMapper: checks, then plane addresses.
#define LOG_TAG "GraphicBufferMapper"

#include "ui/GraphicBufferMapper.h"

#include "GraphicAllocation.h"

#include <hardware/gralloc.h>
#include <host/FaultInjection.h>
#include <utils/Log.h>

#include <memory>
#include <utility>

namespace android {
namespace {

using host::BufferKind;
using host::BufferLayout;
using host::GraphicAllocation;

bool isInside(const Rect& bounds, const host::BufferRequest& buffer) {
    return bounds.left >= 0 && bounds.top >= 0 && bounds.left < bounds.right &&
           bounds.top < bounds.bottom && static_cast<uint32_t>(bounds.right) <= buffer.width &&
           static_cast<uint32_t>(bounds.bottom) <= buffer.height;
}

// Often and rarely are hints: either was allocated for both.
bool isCpuUsage(uint32_t usage, uint64_t allocated) {
    const bool reads = (usage & GRALLOC_USAGE_SW_READ_MASK) != 0;
    const bool writes = (usage & GRALLOC_USAGE_SW_WRITE_MASK) != 0;
    if (reads && (allocated & GRALLOC_USAGE_SW_READ_MASK) == 0) return false;
    if (writes && (allocated & GRALLOC_USAGE_SW_WRITE_MASK) == 0) return false;
    return reads || writes;
}

bool hasPlainLock(const GraphicAllocation& buffer) {
    return buffer.layout().kind != BufferKind::CompressedYuv &&
           buffer.request().format != HAL_PIXEL_FORMAT_YCBCR_420_888;
}

bool hasYCbCrLock(const GraphicAllocation& buffer) {
    return buffer.layout().isYuv();
}

// The buffer of a handle; a log that names the call, and null, when there is none.
std::shared_ptr<GraphicAllocation> findLogged(buffer_handle_t handle, const char* call) {
    auto buffer = host::findGraphics(handle);
    if (buffer == nullptr) {
        ALOGE("%s: handle %p belongs to no buffer", call, static_cast<const void*>(handle));
    }
    return buffer;
}

// One kind of lock: its name in logs, and which buffers have it.
struct LockKind {
    const char* call;
    bool (*isOffered)(const GraphicAllocation& buffer);
};

constexpr LockKind kPlainLock = {.call = "lock", .isOffered = hasPlainLock};
constexpr LockKind kYCbCrLock = {.call = "lockYCbCr", .isOffered = hasYCbCrLock};

status_t checkLock(const LockKind& kind, const GraphicAllocation& buffer, uint32_t usage,
                   const Rect& bounds, const void* output) {
    const host::BufferRequest& request = buffer.request();
    if (output == nullptr) {
        ALOGE("%s: no place for the result", kind.call);
        return BAD_VALUE;
    }
    if (!kind.isOffered(buffer)) {
        ALOGE("%s: not for format %#x", kind.call, static_cast<unsigned>(request.format));
        return BAD_VALUE;
    }
    if (!isInside(bounds, request)) {
        ALOGE("%s: (%d, %d, %d, %d) is empty or not inside %ux%u", kind.call, bounds.left,
              bounds.top, bounds.right, bounds.bottom, request.width, request.height);
        return BAD_VALUE;
    }
    if (!isCpuUsage(usage, request.usage)) {
        ALOGE("%s: usage %#x of a buffer allocated for %#llx", kind.call, usage,
              static_cast<unsigned long long>(request.usage));
        return BAD_VALUE;
    }
    return OK;
}

// Locks the buffer of a handle. `output` is where the caller's result will go.
status_t lockBuffer(const LockKind& kind, buffer_handle_t handle, uint32_t usage,
                    const Rect& bounds, const void* output,
                    std::shared_ptr<GraphicAllocation>* locked) {
    auto buffer = findLogged(handle, kind.call);
    if (buffer == nullptr) return BAD_VALUE;
    const status_t status = checkLock(kind, *buffer, usage, bounds, output);
    if (status != OK) return status;
    if (host::FaultInjection::shouldFail(host::Fault::GraphicsLock)) {
        ALOGE("%s: not now, by order of a test", kind.call);
        return WOULD_BLOCK;
    }
    buffer->addLock();
    *locked = std::move(buffer);
    return OK;
}

android_ycbcr planesOf(const GraphicAllocation& buffer) {
    const BufferLayout& layout = buffer.layout();
    android_ycbcr planes{};
    planes.y = buffer.base() + layout.y.offset;
    planes.cb = buffer.base() + layout.cb.offset;
    planes.cr = buffer.base() + layout.cr.offset;
    planes.ystride = layout.y.stride;
    planes.cstride = layout.cb.stride;
    planes.chroma_step = layout.chromaStep();
    return planes;
}

}  // namespace

GraphicBufferMapper& GraphicBufferMapper::get() {
    static GraphicBufferMapper mapper;
    return mapper;
}

status_t GraphicBufferMapper::lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                                   void** vaddr) {
    std::shared_ptr<GraphicAllocation> buffer;
    const status_t status = lockBuffer(kPlainLock, handle, usage, bounds, vaddr, &buffer);
    if (status == OK) *vaddr = buffer->base();
    return status;
}

status_t GraphicBufferMapper::lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                                        android_ycbcr* ycbcr) {
    std::shared_ptr<GraphicAllocation> buffer;
    const status_t status = lockBuffer(kYCbCrLock, handle, usage, bounds, ycbcr, &buffer);
    if (status == OK) *ycbcr = planesOf(*buffer);
    return status;
}

status_t GraphicBufferMapper::unlock(buffer_handle_t handle) {
    const auto buffer = findLogged(handle, "unlock");
    if (buffer == nullptr) return BAD_VALUE;
    if (buffer->removeLock()) return OK;
    ALOGE("unlock: the %ux%u buffer of %s is not locked", buffer->request().width,
          buffer->request().height, buffer->request().name.c_str());
    return INVALID_OPERATION;
}

}  // namespace android
