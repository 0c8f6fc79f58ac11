// The client's graphics buffers, as the stages take them.
#pragma once

#include <APipeBuffer.h>

#include "media/SemiPlanarPicture.h"

namespace plexa {

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
WritableSemiPlanarPicture pixelsOf(const android::sp<android::APipeBuffer>& buffer);

/** A format message for stages and converters. */
android::sp<android::AMessage> formatMessage(android::APipeBuffer::ColorFormat format, int width,
                                             int height);

}  // namespace plexa
