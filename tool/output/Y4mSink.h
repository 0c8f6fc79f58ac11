// The exact samples of each frame as a YUV4MPEG stream.
#pragma once

#include <cstdint>
#include <vector>

#include "output/FrameSink.h"
#include "output/OutputFile.h"

namespace plexa {

/**
 * Writes 4:2:0 samples of 8 or 10 bits as they are, to a file or to standard output. The stream has
 * a fixed frame rate and no times; finish() leaves a warning if the frames had times of their own.
 * It is written here and not by FFmpeg's muxer, which cuts chroma rows of an odd width with 10
 * bits.
 *
 * Threading: reentrant.
 */
class Y4mSink : public FrameSink {
public:
    Y4mSink(const std::string& path) : mPath(path) {}

    Status open(const VideoFormat& format, const VideoFormat& source) override;
    Status write(const FinishedFrame& frame) override;
    Status finish() override { return mFile.commit(); }
    std::vector<std::string> notes() const override;

private:
    std::string header() const;
    void checkTime(FrameTime time);

    std::string mPath;
    OutputFile mFile;
    VideoFormat mFormat;
    AVRational mRate{0, 1};
    std::vector<uint8_t> mFrame;  // the mark of a frame and its samples
    int64_t mFrames = 0;
    bool mLosesTimes = false;
};

}  // namespace plexa
