// The client's graphics buffers, as the stages take them.
#pragma once

#include <APipeBuffer.h>

namespace plexa {

/**
 * A borrowed view of one 4:2:0 frame with interleaved chroma: NV12 (bitDepth 8) or P010 (bitDepth
 * 10: samples of 16 bits, the upper ten used). The chroma plane holds (width + 1) / 2 pairs in each
 * of (height + 1) / 2 rows.
 */
struct SemiPlanarPicture {
    uint8_t* luma = nullptr;
    uint8_t* chroma = nullptr;
    int lumaStride = 0;    // bytes
    int chromaStride = 0;  // bytes
    int width = 0;         // pixels
    int height = 0;        // pixels
    int bitDepth = 8;

    int chromaWidth() const { return (width + 1) / 2; }
    int chromaHeight() const { return (height + 1) / 2; }
};

/**
 * A frame in the video hardware's linear layout (NV12 for 8 bits, P010 for 10), locked for the CPU,
 * with "bufferId" in its metadata; null if the memory for it cannot be had. Width and height are in
 * pixels. Threading: thread-safe, like all functions here.
 */
android::sp<android::APipeBuffer> allocateLinear(int bitDepth, int width, int height, int id);

/** As allocateLinear, in the compressed layout; it is never locked. */
android::sp<android::APipeBuffer> allocateCompressed(int bitDepth, int width, int height, int id);

/** As allocateLinear, for an RGBA picture of 8 bits a channel. */
android::sp<android::APipeBuffer> allocatePicture(int width, int height);

/** The "colorformat" under which stages and converters know these buffers. */
android::APipeBuffer::ColorFormat linearFormat(int bitDepth);
android::APipeBuffer::ColorFormat compressedFormat(int bitDepth);

/** The pixels of a linear buffer; valid while the buffer lives. */
SemiPlanarPicture pixelsOf(const android::sp<android::APipeBuffer>& buffer);

/** A format message for stages and converters. */
android::sp<android::AMessage> formatMessage(android::APipeBuffer::ColorFormat format, int width,
                                             int height);

}  // namespace plexa
