// Makes a picture of one frame of a video.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "job/Geometry.h"
#include "job/JobReport.h"
#include "media/FrameReader.h"
#include "output/OutputFile.h"
#include "output/PictureConverter.h"

namespace plexa {

/** What `plexa snapshot` is asked to do. */
struct SnapshotRequest {
    InputOptions input;
    std::string output;  // a picture
    double seconds = 0;  // from the first frame on
    Engine engine = Engine::Auto;
    PictureSize size;              // 0x0: that of the crop, in square pixels
    std::optional<CropArea> crop;  // everything without it
};

/**
 * One run of `plexa snapshot`: decodes up to the frame, puts it into a graphics buffer as a
 * device's decoder would, with its metadata, and has an engine render it.
 *
 * Threading: reentrant; run() once.
 */
class SnapshotJob {
public:
    explicit SnapshotJob(SnapshotRequest request);

    /** Does the whole job. On failure nothing is left under the output's name. */
    Status run(SnapshotReport* report);

private:
    Status make();
    const AVFrame* findFrame(Status* status);  // null: status says why
    Status readFrame(const AVFrame** frame, FrameTime* time);
    Status chooseArea(const AVFrame& frame);
    Status loadFrame(const AVFrame& frame, android::sp<android::APipeBuffer>* buffer) const;
    Status openConverter(PictureConverter* converter);
    Status convert(const android::sp<android::APipeBuffer>& buffer, PictureConverter* converter,
                   FramePtr* picture) const;
    std::vector<std::string> notes() const;

    const SnapshotRequest mRequest;
    FrameReader mReader;
    OutputFile mFile;
    SnapshotReport mResult;
    AVRational mAspect{0, 1};  // of the picture's samples
    int32_t mDataspace = 0;
    std::string mFallbackReason;  // why Capture stands in for Gl, if it does
};

}  // namespace plexa
