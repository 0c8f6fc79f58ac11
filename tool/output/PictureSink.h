// One frame of a clip, or several side by side, as a PNG picture.
#pragma once

#include <vector>

#include "output/FrameSink.h"
#include "output/OutputFile.h"
#include "output/PictureConverter.h"

namespace plexa {

/**
 * The first frame of a clip, or a contact sheet: whole frames spread over the clip in columns and
 * rows, in reading order, with a dark line between them. A clip with fewer frames than the sheet
 * has cells leaves the last cells dark, with a note. HDR is tone mapped by the frame-capture
 * library.
 *
 * Threading: loop-bound to the thread of the first write().
 */
class PictureSink : public FrameSink {
public:
    PictureSink(const std::string& path, SheetLayout sheet) : mPath(path), mSheet(sheet) {}
    /** An error if the sheet isTooLarge(). */
    Status open(const VideoFormat& format, const VideoFormat& source) override;
    Status write(const FinishedFrame& frame) override;
    Status finish() override;
    FrameSelection selection(int64_t expectedFrames) const override;
    std::vector<std::string> notes() const override;

private:
    void thinOut();

    std::string mPath;
    SheetLayout mSheet;
    OutputFile mFile;
    VideoFormat mFormat;
    int32_t mDataspace = 0;
    PictureConverter mConverter;
    bool mIsConverterOpen = false;
    std::vector<FramePtr> mPictures;
};

}  // namespace plexa
