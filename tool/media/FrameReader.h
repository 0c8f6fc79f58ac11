// Decodes the video of an input, a frame at a time.
#pragma once

#include <string>
#include <vector>

#include "media/Demuxer.h"
#include "media/VideoFormat.h"

namespace plexa {

/** Who leaves out the rows and columns that are coded but not to be seen. */
enum class Cropping {
    Decoder,  // frames come without them
    Caller,   // frames come with them where the decoder can; AVFrame's crop fields tell them
};

/**
 * The frames of one input in the order in which they are shown. A frame that is lost is an error
 * that names it, and so is a change of size: whoever reads to the end has had every frame of the
 * input. Only what cannot be decoded before the first frame (a recording that starts between two
 * key frames) is left out, with a warning; and there is one where the decoder patched up damage.
 *
 * Threading: reentrant; the decoder uses threads of its own.
 */
class FrameReader {
public:
    /** `cancellation` is borrowed; once requested, a waiting read ends with an error. */
    explicit FrameReader(const Cancellation& cancellation, Cropping cropping = Cropping::Decoder)
        : mDemuxer(cancellation), mCropping(cropping) {}

    /** Opens `path` ("-" is standard input) and decodes the first frame. */
    Status open(const std::string& path);

    /** Size, times and tags of the stream, known from its first frame on. */
    const VideoFormat& format() const { return mFormat; }
    /** What the container tells of the stream, after open(). */
    const AVStream& stream() const { return *mDemuxer.stream(); }
    /** How many frames the input should have, 0 if nothing tells. */
    int64_t expectedFrames() const { return mDemuxer.expectedFrames(); }

    /**
     * The next frame, or null at the end, into `frame`, and its time into `time`. The frame is
     * valid until the next call.
     */
    Status read(const AVFrame** frame, FrameTime* time);

    /** What the user should know of this input, complete once it is read to its end. */
    std::vector<std::string> warnings() const;
    /** The part of it that concerns the frames read so far. */
    std::vector<std::string> damageWarnings() const;

private:
    Status openDecoder();
    Status describe();
    Status decode();
    Status feed();
    Status check();
    Status damaged(int error);
    FrameTime takeTime();

    Demuxer mDemuxer;
    const Cropping mCropping;
    CodecPtr mDecoder;
    PacketPtr mPacket{av_packet_alloc()};
    FramePtr mFrame{av_frame_alloc()};
    VideoFormat mFormat;
    bool mHasPending = false;  // the first frame, decoded by open(), waits in mFrame
    bool mDraining = false;    // the input is read; the decoder still holds frames
    bool mAtEnd = false;
    int64_t mFrames = 0;  // decoded so far
    int64_t mPatchedFrames = 0;
    int64_t mSkippedPackets = 0;  // before the first frame
    int64_t mNextPts = 0;         // for frames that carry no time of their own
    bool mInterlaced = false;
};

}  // namespace plexa
