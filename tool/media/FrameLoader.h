// Brings decoded frames of any pixel format into NV12 or P010 memory.
#pragma once

#include "media/PixelScaler.h"
#include "media/SemiPlanarPicture.h"

namespace plexa {

/**
 * Frames that are 4:2:0 with 8 or 10 bits already are copied sample for sample; any other format
 * goes through libswscale first.
 *
 * Threading: reentrant.
 */
class FrameLoader {
public:
    /** For a stream of this format. */
    explicit FrameLoader(const VideoFormat& format);

    /** Fills `picture`, which has the format's size and depth, from `frame`. */
    Status load(const AVFrame& frame, const WritableSemiPlanarPicture& picture);

private:
    VideoFormat mFormat;
    PixelScaler mScaler;
    FramePtr mPlanar;  // the frame after libswscale; made when first needed
};

}  // namespace plexa
