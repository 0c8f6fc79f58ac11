// FrameBuffer: the checks, and planes from the allocator's layout.
#include "FrameBuffer.h"

#include <android/log.h>
#include <host/GraphicBufferPixels.h>

namespace cl {
namespace {

using android::GraphicBuffer;
using android::sp;
using android::host::BufferKind;
using android::host::BufferLayout;
using android::host::CompressedLayout;
using android::host::GraphicBufferPixels;
using android::host::PlaneLayout;

// For samples of so many bytes.
constexpr android::PixelFormat compressedPixelFormat(uint32_t bytesPerSample) {
    return bytesPerSample == 1 ? HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED
                               : HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED;
}

// Null when the buffer may be opened, otherwise what is wrong with it.
const char* faultOf(const FrameBuffer& expected, const sp<GraphicBuffer>& buffer) {
    if (buffer == nullptr) return "is null";
    if (buffer->initCheck() != android::OK) return "has no memory";
    const FrameSize size = {.width = buffer->getWidth(), .height = buffer->getHeight()};
    if (size != expected.size) return "does not have the size that was set up";
    return nullptr;
}

bool holds(const BufferLayout& layout, const FrameFormat& format, android::PixelFormat pixels) {
    if (format.compressed) return pixels == compressedPixelFormat(format.bytesPerSample);
    return layout.kind == BufferKind::SemiPlanar && layout.bytesPerSample == format.bytesPerSample;
}

std::optional<GraphicBufferPixels> open(const FrameBuffer& expected,
                                        const sp<GraphicBuffer>& buffer) {
    const char* fault = faultOf(expected, buffer);
    std::optional<GraphicBufferPixels> pixels;
    if (fault == nullptr) {
        pixels = android::host::pixelsOf(*buffer);
        if (!pixels) {
            fault = "cannot be opened";
        } else if (!holds(pixels->layout, expected.format, buffer->getPixelFormat())) {
            fault = "does not have the format that was set up";
        }
    }
    if (fault == nullptr) return pixels;
    __android_log_print(ANDROID_LOG_ERROR, expected.tag, "%s buffer %s", expected.role, fault);
    return std::nullopt;
}

Plane planeOf(const GraphicBufferPixels& pixels, const PlaneLayout& layout, FrameSize size,
              uint32_t unitBytes) {
    return {.data = pixels.base + layout.offset,
            .stride = layout.stride,
            .width = size.width,
            .height = size.height,
            .unitBytes = unitBytes};
}

}  // namespace

std::optional<LinearFrame> FrameBuffer::openLinear(const sp<GraphicBuffer>& buffer) const {
    const auto pixels = open(*this, buffer);
    if (!pixels) return std::nullopt;
    const uint32_t bytes = format.bytesPerSample;
    return LinearFrame{planeOf(*pixels, pixels->layout.y, size, bytes),
                       planeOf(*pixels, pixels->layout.cb, size.chroma(), 2 * bytes)};
}

std::optional<CompressedFrame> FrameBuffer::openCompressed(const sp<GraphicBuffer>& buffer) const {
    const auto pixels = open(*this, buffer);
    if (!pixels) return std::nullopt;
    const auto layout =
        CompressedLayout::of(size.width, size.height, compressedPixelFormat(format.bytesPerSample));
    return CompressedFrame{TiledPlane{.base = pixels->base, .layout = layout->luma},
                           TiledPlane{.base = pixels->base, .layout = layout->chroma}};
}

}  // namespace cl
