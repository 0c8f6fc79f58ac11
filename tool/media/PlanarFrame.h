// Between FFmpeg's planar frames and pictures with interleaved chroma.
#pragma once

#include "media/AvHandles.h"
#include "media/FrameBuffers.h"

namespace plexa {

/** FFmpeg's planar 4:2:0 format of this depth (8 or 10). */
constexpr AVPixelFormat planarFormat(int bitDepth) {
    return bitDepth > 8 ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
}

/** A frame with buffers of its own, or null if the memory for it cannot be had. */
FramePtr allocateFrame(AVPixelFormat pixels, int width, int height);

/**
 * Copies a planar frame into a picture of the same size and depth, sample for sample.
 * Threading: reentrant, like unpack.
 */
void pack(const AVFrame& planar, const SemiPlanarPicture& picture);

/** Copies a picture into a planar frame of the same size and depth, sample for sample. */
void unpack(const SemiPlanarPicture& picture, AVFrame* planar);

}  // namespace plexa
