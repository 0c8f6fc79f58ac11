// RGB pictures: made from finished frames and written as PNG.
#pragma once

#include <string>

#include "media/OutputFile.h"
#include "media/PixelScaler.h"
#include "media/SemiPlanarPicture.h"

namespace plexa {

/**
 * Turns frames into RGB with 8 bits, by the stream's own matrix and range.
 *
 * Threading: reentrant.
 */
class RgbConverter {
public:
    /** For frames of this format. */
    explicit RgbConverter(const VideoFormat& format);

    /** `picture` as a new RGB24 frame in `rgb`. */
    Status convert(const SemiPlanarPicture& picture, FramePtr* rgb);

private:
    PixelScaler mScaler;
    FramePtr mPlanar;
};

/** An RGBA picture, rows `stride` bytes apart, as a new RGB24 frame in `rgb`. */
Status withoutAlpha(const uint8_t* rgba, int stride, int width, int height, FramePtr* rgb);

/** Writes an RGB24 frame as PNG into `file`, which is open, and commits it. */
Status writePng(const AVFrame& rgb, OutputFile* file);

}  // namespace plexa
