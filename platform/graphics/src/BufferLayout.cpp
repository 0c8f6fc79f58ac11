// BufferLayout: the allocator's rules, format by format.
#include "host/BufferLayout.h"

#include "Align.h"
#include "host/CompressedLayout.h"

namespace android::host {
namespace {

constexpr uint32_t kRgbaBytes = 4;
// Wider than the 16 that client code tends to assume: who does not ask for the stride is caught.
constexpr size_t kRgbaPixels = 64;
constexpr size_t kNv12Bytes = 64;
// Some chips make their GPU's render targets whole blocks of 32 rows, and code that runs on them
// maps that many.
constexpr size_t kRgbaRows = 32;
constexpr size_t kP010Bytes = 256;
constexpr size_t kP010Rows = 32;
constexpr size_t kVenusBytes = 128;
constexpr size_t kVenusLumaRows = 32;
constexpr size_t kVenusChromaRows = 16;
constexpr size_t kYv12Bytes = 16;

BufferLayout rgba(uint32_t width, uint32_t height) {
    BufferLayout layout;
    layout.kind = BufferKind::Rgb;
    layout.bytesPerSample = kRgbaBytes;
    layout.y.stride = alignUp(width, kRgbaPixels) * kRgbaBytes;
    layout.y.rows = alignUp(height, kRgbaRows);
    layout.size = layout.y.stride * layout.y.rows;
    return layout;
}

BufferLayout semiPlanar(uint32_t bytesPerSample, size_t stride, size_t lumaRows,
                        size_t chromaRows) {
    BufferLayout layout;
    layout.kind = BufferKind::SemiPlanar;
    layout.bytesPerSample = bytesPerSample;
    layout.y = {.offset = 0, .stride = stride, .rows = lumaRows};
    layout.cb = {.offset = stride * lumaRows, .stride = stride, .rows = chromaRows};
    layout.cr = layout.cb;
    layout.cr.offset += bytesPerSample;
    layout.size = stride * (lumaRows + chromaRows);
    return layout;
}

BufferLayout nv12(uint32_t width, uint32_t height) {
    return semiPlanar(1, alignUp(width, kNv12Bytes), height, chromaSide(height));
}

BufferLayout venus(uint32_t width, uint32_t height) {
    return semiPlanar(1, alignUp(width, kVenusBytes), alignUp(height, kVenusLumaRows),
                      alignUp(chromaSide(height), kVenusChromaRows));
}

BufferLayout p010(uint32_t width, uint32_t height) {
    const size_t rows = alignUp(height, kP010Rows);
    return semiPlanar(2, alignUp(size_t{2} * width, kP010Bytes), rows, rows / 2);
}

BufferLayout yv12(uint32_t width, uint32_t height) {
    BufferLayout layout;
    layout.kind = BufferKind::Planar;
    layout.bytesPerSample = 1;
    layout.y = {.offset = 0, .stride = alignUp(width, kYv12Bytes), .rows = height};
    const size_t chromaStride = alignUp(layout.y.stride / 2, kYv12Bytes);
    const size_t chromaRows = chromaSide(height);
    layout.cr = {
        .offset = layout.y.stride * layout.y.rows, .stride = chromaStride, .rows = chromaRows};
    layout.cb = layout.cr;
    layout.cb.offset += chromaStride * chromaRows;
    layout.size = layout.cb.offset + chromaStride * chromaRows;
    return layout;
}

std::optional<BufferLayout> compressed(uint32_t width, uint32_t height, PixelFormat format) {
    const auto tiles = CompressedLayout::of(width, height, format);
    if (!tiles) return std::nullopt;
    BufferLayout layout;
    layout.kind = BufferKind::CompressedYuv;
    layout.stridePixels = tiles->luma.tilesX * tiles->luma.tileWidth;
    layout.size = tiles->size;
    return layout;
}

std::optional<BufferLayout> linear(uint32_t width, uint32_t height, PixelFormat format) {
    switch (format) {
        case HAL_PIXEL_FORMAT_RGBA_8888:
            return rgba(width, height);
        case HAL_PIXEL_FORMAT_YCBCR_420_888:
        case HAL_PIXEL_FORMAT_YCbCr_420_SP:
            return nv12(width, height);
        case HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS:
            return venus(width, height);
        case HAL_PIXEL_FORMAT_YCBCR_P010:
            return p010(width, height);
        case HAL_PIXEL_FORMAT_YV12:
            return yv12(width, height);
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<BufferLayout> BufferLayout::of(uint32_t width, uint32_t height, PixelFormat format) {
    if (!isSide(width) || !isSide(height)) return std::nullopt;
    if (auto layout = compressed(width, height, format)) return layout;

    auto layout = linear(width, height, format);
    if (!layout) return std::nullopt;
    layout->stridePixels = static_cast<uint32_t>(layout->y.stride / layout->bytesPerSample);
    layout->size = alignUp(layout->size, kPageBytes);
    if (layout->size > kMaxBufferBytes) return std::nullopt;
    return layout;
}

}  // namespace android::host
