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

// What a client asks for, and the bytes that each row gets on top of the rules.
struct Request {
    uint32_t width;
    uint32_t height;
    size_t rowPadding;

    size_t stride(size_t rowBytes, size_t multiple) const {
        return alignUp(rowBytes, multiple) + rowPadding;
    }
};

BufferLayout rgba(const Request& request) {
    BufferLayout layout;
    layout.kind = BufferKind::Rgb;
    layout.bytesPerSample = kRgbaBytes;
    layout.y.stride = request.stride(size_t{kRgbaBytes} * request.width, kRgbaPixels * kRgbaBytes);
    layout.y.rows = alignUp(request.height, kRgbaRows);
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

BufferLayout nv12(const Request& request) {
    return semiPlanar(1, request.stride(request.width, kNv12Bytes), request.height,
                      chromaSide(request.height));
}

BufferLayout venus(const Request& request) {
    return semiPlanar(1, request.stride(request.width, kVenusBytes),
                      alignUp(request.height, kVenusLumaRows),
                      alignUp(chromaSide(request.height), kVenusChromaRows));
}

BufferLayout p010(const Request& request) {
    const size_t rows = alignUp(request.height, kP010Rows);
    return semiPlanar(2, request.stride(size_t{2} * request.width, kP010Bytes), rows, rows / 2);
}

BufferLayout yv12(const Request& request) {
    BufferLayout layout;
    layout.kind = BufferKind::Planar;
    layout.bytesPerSample = 1;
    layout.y = {
        .offset = 0, .stride = request.stride(request.width, kYv12Bytes), .rows = request.height};
    const size_t chromaStride = alignUp(layout.y.stride / 2, kYv12Bytes);
    const size_t chromaRows = chromaSide(request.height);
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

std::optional<BufferLayout> linear(const Request& request, PixelFormat format) {
    switch (format) {
        case HAL_PIXEL_FORMAT_RGBA_8888:
            return rgba(request);
        case HAL_PIXEL_FORMAT_YCBCR_420_888:
        case HAL_PIXEL_FORMAT_YCbCr_420_SP:
            return nv12(request);
        case HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS:
            return venus(request);
        case HAL_PIXEL_FORMAT_YCBCR_P010:
            return p010(request);
        case HAL_PIXEL_FORMAT_YV12:
            return yv12(request);
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<BufferLayout> BufferLayout::of(uint32_t width, uint32_t height, PixelFormat format,
                                             size_t rowPadding) {
    if (!isSide(width) || !isSide(height)) return std::nullopt;
    if (auto layout = compressed(width, height, format)) return layout;

    auto layout = linear({.width = width, .height = height, .rowPadding = rowPadding}, format);
    if (!layout) return std::nullopt;
    layout->stridePixels = static_cast<uint32_t>(layout->y.stride / layout->bytesPerSample);
    layout->size = alignUp(layout->size, kPageBytes);
    if (layout->size > kMaxBufferBytes) return std::nullopt;
    return layout;
}

}  // namespace android::host
