// GraphicBuffer: pixel memory that CPU, GPU and video hardware share.
#pragma once

#include <nativebase/nativebase.h>
#include <ui/PixelFormat.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <string>

namespace android {

// One buffer, allocated by the constructor and freed with the last reference. On the host the
// memory is an anonymous file: its descriptor, data[0] of the handle, may be mapped by anyone and
// shows the same pixels as a lock. The file is at least as long as the layout of the format
// (docs/buffer-layouts.md) and cannot be resized.
//
// Width, height, format and usage never change. Pixels start as zero.
//
// Threading: thread-safe, pixels excepted: who may touch them is settled between the users.
class GraphicBuffer : public ANativeWindowBuffer, public RefBase {
public:
    // Sizes in pixels, each at least 1; layerCount 1; usage of GRALLOC_USAGE_* bits. A failure is
    // logged under requestorName, and initCheck() and a null handle tell of it.
    GraphicBuffer(uint32_t inWidth, uint32_t inHeight, PixelFormat inFormat, uint32_t inLayerCount,
                  uint64_t inUsage, std::string requestorName = "<Unknown>");

    GraphicBuffer(const GraphicBuffer&) = delete;
    GraphicBuffer& operator=(const GraphicBuffer&) = delete;

    // The buffer behind the face that getNativeBuffer() gave; null for null.
    static sp<GraphicBuffer> from(ANativeWindowBuffer* buffer);

    // OK; BAD_VALUE for a size, format or layer count that the allocator does not have; NO_MEMORY
    // when memory or descriptors ran out.
    status_t initCheck() const { return mInitCheck; }

    // All zero for a buffer that failed. The stride is in pixels: bytes of a luma row divided by
    // bytes of a sample, and for compressed formats the width in whole tiles.
    uint32_t getWidth() const { return static_cast<uint32_t>(width); }
    uint32_t getHeight() const { return static_cast<uint32_t>(height); }
    uint32_t getStride() const { return static_cast<uint32_t>(stride); }
    uint64_t getUsage() const { return usage; }
    PixelFormat getPixelFormat() const { return format; }
    uint32_t getLayerCount() const { return static_cast<uint32_t>(layerCount); }
    Rect getBounds() const { return Rect(width, height); }
    // Unique within the process, never 0.
    uint64_t getId() const { return mId; }

    // Borrowed: holds a reference only through its own incRef.
    ANativeWindowBuffer* getNativeBuffer() const;

    // As GraphicBufferMapper, of the whole buffer where no rectangle is given.
    status_t lock(uint32_t inUsage, void** vaddr);
    status_t lock(uint32_t inUsage, const Rect& rect, void** vaddr);
    status_t lockYCbCr(uint32_t inUsage, android_ycbcr* ycbcr);
    status_t lockYCbCr(uint32_t inUsage, const Rect& rect, android_ycbcr* ycbcr);
    status_t unlock();

protected:
    ~GraphicBuffer() override;

private:
    status_t allocate(uint32_t inWidth, uint32_t inHeight, PixelFormat inFormat,
                      uint32_t inLayerCount, uint64_t inUsage, std::string requestorName);

    const uint64_t mId;
    status_t mInitCheck = NO_INIT;
};

}  // namespace android
