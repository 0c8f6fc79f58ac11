// The first frame of a clip as a PNG picture.
#pragma once

#include <optional>

#include "media/FrameSink.h"
#include "media/PngWriter.h"

namespace plexa {

/** Takes one frame and writes it as PNG. Threading: reentrant. */
class PngSink : public FrameSink {
public:
    PngSink(const std::string& path, const Cancellation& cancellation)
        : mPath(path), mFile(cancellation) {}

    Status open(const VideoFormat& format) override;
    Status write(const SemiPlanarPicture& picture, FrameTime time) override;
    Status finish() override;
    FrameSelection selection(int64_t /*expectedFrames*/) const override {
        return FrameSelection::first();
    }

private:
    std::string mPath;
    OutputFile mFile;
    std::optional<RgbConverter> mConverter;
    FramePtr mPicture;
};

}  // namespace plexa
