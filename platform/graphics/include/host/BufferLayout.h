// BufferLayout: strides and planes that the host's allocator gives to a graphics buffer.
#pragma once

#include <ui/PixelFormat.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace android::host {

enum class BufferKind {
    Rgb,           // one plane, in `y`
    SemiPlanar,    // luma, then interleaved Cb, Cr pairs: `cr` is the sample after `cb`
    Planar,        // luma and two chroma planes of their own
    CompressedYuv  // no plane: CompressedLayout says where the tiles are
};

// One plane as stored. Rows beyond the picture are padding.
struct PlaneLayout {
    size_t offset = 0;  // bytes from the buffer's start to the plane's first sample
    size_t stride = 0;  // bytes from a row to the next
    size_t rows = 0;    // allocated rows
};

// The one place that decides the memory layout of a format; docs/buffer-layouts.md shows it.
// Threading: reentrant.
struct BufferLayout {
    BufferKind kind = BufferKind::Rgb;
    uint32_t stridePixels = 0;    // as GraphicBuffer::getStride
    uint32_t bytesPerSample = 0;  // of a luma sample, or of an RGB pixel; 0 when compressed
    PlaneLayout y;
    PlaneLayout cb;
    PlaneLayout cr;
    size_t size = 0;  // bytes of the buffer, a multiple of 4096

    bool isYuv() const { return kind == BufferKind::SemiPlanar || kind == BufferKind::Planar; }
    // Bytes from a chroma sample to the next of the same plane.
    size_t chromaStep() const {
        return kind == BufferKind::SemiPlanar ? size_t{2} * bytesPerSample : bytesPerSample;
    }

    // rowPadding: bytes, a multiple of 64, by which rows are longer than the format's rule has
    // them; compressed formats have no rows. Empty for an unknown format, a size below 1 pixel, or
    // a buffer of more than 2^31 - 1 bytes.
    static std::optional<BufferLayout> of(uint32_t width, uint32_t height, PixelFormat format,
                                          size_t rowPadding = 0);
};

// Has the allocator give every buffer from now on so much rowPadding, as another device's might:
// code that works out strides for itself is caught. 0 at the start.
// Threading: thread-safe.
void setRowPadding(size_t rowPadding);

}  // namespace android::host
