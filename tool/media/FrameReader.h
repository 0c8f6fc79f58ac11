// Decodes and filters the video of an input, a frame at a time.
#pragma once

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "media/Demuxer.h"
#include "media/FilterGraph.h"
#include "media/VideoFormat.h"

namespace plexa {

/** What an input is, and how to treat it. */
struct InputOptions {
    std::string path;             // "-": standard input
    std::string filters;          // of FFmpeg, after our own
    bool filtersOfOurOwn = true;  // fields become frames; see also turnsUpright
    bool turnsUpright = false;    // the picture is turned here and not by its display matrix
    bool keepsTimes = false;      // do not start at 0
    bool strict = false;          // damage is an error
};

/** What was wrong with an input and did not end the job. */
struct Damage {
    int64_t skippedPackets = 0;  // could not be decoded
    int64_t patchedFrames = 0;   // marked by the decoder as not what they should be
    int64_t mendedTimes = 0;     // frames that were not shown later than the one before
    std::string ending;          // why it ends too early; empty if it does not
};

/**
 * The frames of one input in the order in which they are shown, planar 4:2:0 with 8 or 10 bits.
 * Filters of FFmpeg's turn fields into frames, turn the picture upright if asked to, do what the
 * user asks for, and convert the pixel format. What cannot be decoded is left out and counted,
 * times that do not rise are mended and counted; with InputOptions::strict both are errors.
 *
 * Threading: reentrant; decoder and filters use threads of their own.
 */
class FrameReader {
public:
    explicit FrameReader(InputOptions options) : mOptions(std::move(options)) {}

    /** Opens the input and decodes the first frame. */
    Status open();

    /** Of the frames that are given out, known from the first one on. A later one can differ in
     * size. */
    const VideoFormat& format() const { return mFormat; }
    /** As the input has it: size and bits before any filter. */
    const VideoFormat& source() const { return mSource; }

    /** How many frames the input should have, 0 if nothing tells. */
    int64_t expectedFrames() const { return mDemuxer.expectedFrames(); }

    /**
     * The next frame, or null at the end, into `frame`, and its time into `time`. The frame is
     * valid until the next call.
     */
    Status read(const AVFrame** frame, FrameTime* time);

    /** Complete, like notes(), once the input is read to its end. */
    const Damage& damage() const { return mDamage; }
    /** What the user should know of this input. */
    std::vector<std::string> notes() const;
    /** What of it a single picture can lose. */
    std::vector<std::string> pictureNotes() const;

private:
    Status openDecoder();
    Status openGraph();
    std::string filtersFor(const AVFrame& frame) const;
    Status describeSource();
    Status describe();
    Status advance();
    Status pump();
    Status decode();
    Status feed();
    Status prepareDecoded();
    Status endEarly(const Status& cause);
    Status skip(int error);
    Status takeTime(FrameTime* time);
    void noteDamage(std::vector<std::string>* notes) const;
    void noteLosses(std::vector<std::string>* notes) const;

    const InputOptions mOptions;
    Demuxer mDemuxer;
    CodecPtr mDecoder;
    std::optional<FilterGraph> mGraph;
    PacketPtr mPacket{av_packet_alloc()};
    FramePtr mDecoded{av_frame_alloc()};  // not yet in the graph; empty if there is none
    FramePtr mFrame{av_frame_alloc()};    // given out
    VideoFormat mSource;
    VideoFormat mFormat;
    const AVPixFmtDescriptor* mSourcePixels = nullptr;
    bool mHasPending = false;  // the first frame, found by open(), waits in mFrame
    bool mAtEnd = false;
    bool mInterlaced = false;
    bool mGraphInterlaced = false;  // what the graph was made for
    bool mHasDynamicHdr = false;
    int64_t mDecodedFrames = 0;
    int64_t mFrames = 0;       // given out
    int64_t mNextDecoded = 0;  // for frames that carry no time of their own; the stream's units
    int64_t mOffset = 0;       // added to all times from here on
    int64_t mLastPts = std::numeric_limits<int64_t>::min();
    Damage mDamage;
};

}  // namespace plexa
