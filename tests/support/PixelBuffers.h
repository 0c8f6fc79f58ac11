// PixelBuffers: graphics buffers, filled and read sample by sample.
#pragma once

#include <hardware/gralloc.h>
#include <host/GraphicBufferPixels.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

#include <array>
#include <cstdint>
#include <functional>

namespace plexa {

// Samples of one pixel, as wide as its format has them: 8 or 10 bits.
struct Yuv {
    int y = 0;
    int cb = 0;
    int cr = 0;
};
using Rgba = std::array<uint8_t, 4>;

inline android::sp<android::GraphicBuffer> graphicBuffer(int width, int height,
                                                         android::PixelFormat format) {
    constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN |
                                GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_HW_RENDER;
    return new android::GraphicBuffer(static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                                      format, 1, kUsage, "test");
}

// One sample of a plane; P010 has its 10 bits at the top of 16.
inline void putSample(const android::host::GraphicBufferPixels& pixels,
                      const android::host::PlaneLayout& plane, size_t offset, int y, int value) {
    uint8_t* at = pixels.base + plane.offset + plane.stride * static_cast<size_t>(y) + offset;
    if (pixels.layout.bytesPerSample == 1) {
        *at = static_cast<uint8_t>(value);
    } else {
        *reinterpret_cast<uint16_t*>(at) = static_cast<uint16_t>(value << 6);
    }
}

// Every luma sample, and the chroma of each second pixel of each second row.
inline void fill(const android::sp<android::GraphicBuffer>& buffer,
                 const std::function<Yuv(int x, int y)>& pixelAt) {
    const auto pixels = *android::host::pixelsOf(*buffer);
    const android::host::BufferLayout& layout = pixels.layout;
    for (int y = 0; y < buffer->height; ++y) {
        for (int x = 0; x < buffer->width; ++x) {
            const Yuv pixel = pixelAt(x, y);
            putSample(pixels, layout.y, layout.bytesPerSample * static_cast<size_t>(x), y, pixel.y);
            if (x % 2 != 0 || y % 2 != 0) continue;
            const size_t offset = layout.chromaStep() * static_cast<size_t>(x / 2);
            putSample(pixels, layout.cb, offset, y / 2, pixel.cb);
            putSample(pixels, layout.cr, offset, y / 2, pixel.cr);
        }
    }
}

inline android::sp<android::GraphicBuffer> rgbaBuffer(int width, int height) {
    return graphicBuffer(width, height, HAL_PIXEL_FORMAT_RGBA_8888);
}

inline android::sp<android::GraphicBuffer> yuvBuffer(
    int width, int height, const std::function<Yuv(int x, int y)>& pixelAt,
    android::PixelFormat format = HAL_PIXEL_FORMAT_YCbCr_420_SP) {
    auto buffer = graphicBuffer(width, height, format);
    fill(buffer, pixelAt);
    return buffer;
}

inline Rgba rgbaAt(const android::sp<android::GraphicBuffer>& buffer, int x, int y) {
    const auto pixels = *android::host::pixelsOf(*buffer);
    const uint8_t* at = pixels.base + pixels.layout.y.stride * static_cast<size_t>(y) +
                        size_t{4} * static_cast<size_t>(x);
    return {at[0], at[1], at[2], at[3]};
}

}  // namespace plexa
