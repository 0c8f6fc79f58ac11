// GraphicBuffer: the reference-counted face of an allocation.
#define LOG_TAG "GraphicBuffer"

#include "ui/GraphicBuffer.h"

#include "GraphicAllocation.h"
#include "host/GraphicBufferPixels.h"

#include <ui/GraphicBufferMapper.h>
#include <utils/Log.h>

#include <atomic>
#include <memory>
#include <utility>

namespace android {
namespace {

uint64_t nextId() {
    static std::atomic<uint64_t> last{0};
    return ++last;
}

GraphicBuffer* bufferOf(android_native_base_t* base) {
    return static_cast<GraphicBuffer*>(reinterpret_cast<ANativeWindowBuffer*>(base));
}

}  // namespace

GraphicBuffer::GraphicBuffer(uint32_t inWidth, uint32_t inHeight, PixelFormat inFormat,
                             uint32_t inLayerCount, uint64_t inUsage, std::string requestorName)
    : mId(nextId()) {
    common.magic = ANDROID_NATIVE_BUFFER_MAGIC;
    common.version = sizeof(ANativeWindowBuffer);
    common.incRef = [](android_native_base_t* base) { bufferOf(base)->incStrong(base); };
    common.decRef = [](android_native_base_t* base) { bufferOf(base)->decStrong(base); };
    mInitCheck =
        allocate(inWidth, inHeight, inFormat, inLayerCount, inUsage, std::move(requestorName));
}

status_t GraphicBuffer::allocate(uint32_t inWidth, uint32_t inHeight, PixelFormat inFormat,
                                 uint32_t inLayerCount, uint64_t inUsage,
                                 std::string requestorName) {
    if (inLayerCount != 1) {
        ALOGE("%s: %u layers, expected 1", requestorName.c_str(), inLayerCount);
        return BAD_VALUE;
    }
    std::shared_ptr<host::GraphicAllocation> allocation;
    const status_t status = host::allocateGraphics({.width = inWidth,
                                                    .height = inHeight,
                                                    .format = inFormat,
                                                    .usage = inUsage,
                                                    .name = std::move(requestorName)},
                                                   &allocation);
    if (status != OK) return status;
    width = static_cast<int>(inWidth);
    height = static_cast<int>(inHeight);
    stride = static_cast<int>(allocation->layout().stridePixels);
    format = inFormat;
    layerCount = inLayerCount;
    usage = inUsage;
    usage_deprecated = static_cast<int>(inUsage);
    handle = allocation->handle();
    return OK;
}

GraphicBuffer::~GraphicBuffer() {
    host::freeGraphics(handle);
}

sp<GraphicBuffer> GraphicBuffer::from(ANativeWindowBuffer* buffer) {
    return sp<GraphicBuffer>(static_cast<GraphicBuffer*>(buffer));
}

ANativeWindowBuffer* GraphicBuffer::getNativeBuffer() const {
    return const_cast<GraphicBuffer*>(this);
}

status_t GraphicBuffer::lock(uint32_t inUsage, void** vaddr) {
    return lock(inUsage, getBounds(), vaddr);
}

status_t GraphicBuffer::lock(uint32_t inUsage, const Rect& rect, void** vaddr) {
    return GraphicBufferMapper::get().lock(handle, inUsage, rect, vaddr);
}

status_t GraphicBuffer::lockYCbCr(uint32_t inUsage, android_ycbcr* ycbcr) {
    return lockYCbCr(inUsage, getBounds(), ycbcr);
}

status_t GraphicBuffer::lockYCbCr(uint32_t inUsage, const Rect& rect, android_ycbcr* ycbcr) {
    return GraphicBufferMapper::get().lockYCbCr(handle, inUsage, rect, ycbcr);
}

status_t GraphicBuffer::unlock() {
    return GraphicBufferMapper::get().unlock(handle);
}

namespace host {

std::optional<GraphicBufferPixels> pixelsOf(const GraphicBuffer& buffer) {
    const auto allocation = findGraphics(buffer.handle);
    if (allocation == nullptr) return std::nullopt;
    const BufferLayout& layout = allocation->layout();
    return GraphicBufferPixels{.base = allocation->base(), .size = layout.size, .layout = layout};
}

}  // namespace host
}  // namespace android
