// Encodes frames into a container.
#pragma once

#include <cstdint>
#include <limits>

#include "media/FrameSink.h"
#include "media/OutputStream.h"
#include "media/VideoEncoder.h"
namespace plexa {

/** The containers that the tool writes. */
enum class Container { Mp4, Matroska };

/**
 * A .mp4 or .mkv file: H.264 for 8 bits, HEVC for 10. Presentation times come out as they went in;
 * Matroska keeps them to its millisecond.
 *
 * Threading: reentrant.
 */
class MuxerSink : public FrameSink {
public:
    MuxerSink(const std::string& path, Container container, const Cancellation& cancellation);
    ~MuxerSink() override;

    Status open(const VideoFormat& format) override;
    Status write(const SemiPlanarPicture& picture, FrameTime time) override;
    Status finish() override;
    std::vector<std::string> warnings() const override;

private:
    Status addStream();
    Status checkTime(FrameTime time);
    Status drain();
    Status named(const Status& status) const;

    std::string mPath;
    Container mContainer;
    OutputStream mFile;  // before mMuxer, which writes into it
    OutputPtr mMuxer;
    VideoEncoder mEncoder;
    PacketPtr mPacket{av_packet_alloc()};
    VideoFormat mFormat;
    AVStream* mStream = nullptr;
    int64_t mFrames = 0;
    int64_t mLastPts = std::numeric_limits<int64_t>::min();
};

}  // namespace plexa
