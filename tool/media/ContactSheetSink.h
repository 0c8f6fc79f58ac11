// Frames spread over a clip, side by side in one PNG picture.
#pragma once

#include <optional>
#include <vector>

#include "media/FrameSink.h"
#include "media/PngWriter.h"

namespace plexa {

/**
 * A sheet of columns and rows of whole frames, in reading order, with a dark line between them. A
 * clip with fewer frames than the sheet has cells leaves the last cells dark, with a warning.
 *
 * Threading: reentrant.
 */
class ContactSheetSink : public FrameSink {
public:
    ContactSheetSink(const std::string& path, SheetLayout layout, const Cancellation& cancellation)
        : mPath(path), mLayout(layout), mFile(cancellation) {}

    /** An error if the sheet isTooLarge(). */
    Status open(const VideoFormat& format) override;
    Status write(const SemiPlanarPicture& picture, FrameTime time) override;
    Status finish() override;
    FrameSelection selection(int64_t expectedFrames) const override {
        return FrameSelection::spread(mLayout.cells(), expectedFrames);
    }
    std::vector<std::string> warnings() const override;

private:
    void thinOut();
    void paste(const AVFrame& picture, int cell, AVFrame* sheet) const;

    std::string mPath;
    SheetLayout mLayout;
    OutputFile mFile;
    VideoFormat mFormat;
    std::optional<RgbConverter> mConverter;
    std::vector<FramePtr> mPictures;
};

}  // namespace plexa
