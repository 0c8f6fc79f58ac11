// Encodes frames with one of libavcodec's encoders.
#pragma once

#include <map>
#include <string>

#include "base/Status.h"
#include "media/AvHandles.h"
#include "media/FrameBuffers.h"
#include "media/VideoFormat.h"

namespace plexa {

/**
 * H.264 for 8 bits and HEVC for 10, of constant quality. Each packet comes out with the time and
 * the duration of its frame.
 *
 * Threading: reentrant; the encoder uses threads of its own.
 */
class VideoEncoder {
public:
    /**
     * `withGlobalHeader`: the container keeps the stream's parameter sets itself. The error text
     * names no file.
     */
    Status open(const VideoFormat& format, bool withGlobalHeader);

    /** Hands one frame to the encoder. */
    Status send(const SemiPlanarPicture& picture, FrameTime time);
    /** No frame follows: the encoder gives out what it still holds. */
    Status sendEnd();

    /** The next packet that is ready, in codec().time_base, or an empty one. */
    Status receive(AVPacket* packet);

    const AVCodecContext& codec() const { return *mCodec; }

private:
    void describe(const VideoFormat& format);

    CodecPtr mCodec;
    FramePtr mFrame;
    std::map<int64_t, int64_t>
        mDurations;  // by presentation time, of the frames inside the encoder
};

}  // namespace plexa
