// FFmpeg's pixel format conversion, set up for one pair of formats.
#pragma once

#include "base/Status.h"
#include "media/AvHandles.h"
#include "media/VideoFormat.h"

namespace plexa {

/** Whether frames of this format hold RGB, directly or through a palette. */
bool isRgb(AVPixelFormat pixels);

/** The matrix that a stream of this format is coded with, guessed by its size if it is not tagged.
 */
AVColorSpace matrixOf(const VideoFormat& format);

/**
 * Converts frames of one size between pixel formats with libswscale, at its best quality. Range,
 * matrix and chroma position are those of `format` on both sides; RGB is always full range.
 *
 * Threading: reentrant.
 */
class PixelScaler {
public:
    /** `format` gives size and tags; the contexts are made by the first convert(). */
    explicit PixelScaler(const VideoFormat& format) : mFormat(format) {}

    /** Converts `source` into `destination`, whose buffers are allocated. Both have format's size.
     */
    Status convert(const AVFrame& source, AVFrame* destination);

private:
    Status configure(AVPixelFormat source, AVPixelFormat destination);

    VideoFormat mFormat;
    ScalerPtr mScaler;
    AVPixelFormat mSource = AV_PIX_FMT_NONE;
    AVPixelFormat mDestination = AV_PIX_FMT_NONE;
};

/** A frame with buffers of its own, or null if the memory for it cannot be had. */
FramePtr allocateFrame(AVPixelFormat pixels, int width, int height);

}  // namespace plexa
