// APipeBufferUtils: the geometry that follows from a colour format and a size.
#pragma once

#include <cstdint>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

/// Row pitch, rows and bytes of a frame. -1 is the answer for the three formats whose geometry is
/// the graphics allocator's (Nv12Venus, Nv12Ubwc, Tp10Ubwc), for a format that has no buffer class
/// (logged as an error), for sizes below 1, and for a result that does not fit 32 bits.
///
/// Threading: thread-safe; there is no state.
class PLEXA_EXPORT APipeBufferUtils {
public:
    APipeBufferUtils() = delete;

    /// Bytes (pixels for Rgba8888) from one row of the first plane to the next.
    static int32_t getStride(APipeBuffer::ColorFormat format, int32_t width);

    /// Rows allocated for the first plane. For Rgba8888 it depends on the chip, which is asked on
    /// every call: two of them read textures in blocks of 32 rows.
    static int32_t getElevation(APipeBuffer::ColorFormat format, int32_t height);

    /// Bytes of the whole frame, from stride and elevation when neither is -1 and from width and
    /// height alone otherwise. Chroma counts half the first plane's bytes: with an odd elevation
    /// that is half a row short of chroma rounded up.
    static int32_t getSize(APipeBuffer::ColorFormat format, int32_t width, int32_t height,
                           int32_t stride, int32_t elevation);

    static bool isCompressedColorformat(APipeBuffer::ColorFormat format);

    /// Value as the next multiple of alignment, a power of two; -1 for a value below 1 or a result
    /// that does not fit 32 bits.
    static int32_t alignedUp(int64_t value, int32_t alignment);
};

}  // namespace android
