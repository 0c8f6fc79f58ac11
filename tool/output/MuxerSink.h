// Encodes frames into a container.
#pragma once

#include <map>

#include "media/AvHandles.h"
#include "output/FrameSink.h"
#include "output/OutputFile.h"

namespace plexa {

/**
 * A .mp4 or .mkv file: H.264 for 8 bits, HEVC for 10. Presentation times come out as they went in;
 * Matroska keeps them to its millisecond. HDR metadata goes into container and stream.
 *
 * Threading: reentrant; the encoder uses threads of its own.
 */
class MuxerSink : public FrameSink {
public:
    /** `container` is Mp4 or Matroska. */
    MuxerSink(const std::string& path, OutputKind container) : mPath(path), mContainer(container) {}
    Status open(const VideoFormat& format, const VideoFormat& source) override;
    Status write(const FinishedFrame& frame) override;
    Status finish() override;

private:
    Status addStream();
    void addSideData();
    Status encode(const AVFrame* frame);
    Status named(const Status& status) const;

    std::string mPath;
    OutputKind mContainer;
    OutputFile mFile;  // before mMuxer, which writes into it
    OutputPtr mMuxer;
    CodecPtr mEncoder;
    FramePtr mFrame;
    std::map<int64_t, int64_t> mDurations;  // by presentation time, of the frames in the encoder
    PacketPtr mPacket{av_packet_alloc()};
    VideoFormat mFormat;
    AVStream* mStream = nullptr;
};

}  // namespace plexa
