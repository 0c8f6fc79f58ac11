// Scales a video through a chain of stages, end to end.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Cancellation.h"
#include "job/FrameCompressor.h"
#include "job/FrameTraffic.h"
#include "job/JobReport.h"
#include "job/PictureSize.h"
#include "job/ScaleChain.h"
#include "media/FrameReader.h"
#include "media/FrameSink.h"

namespace plexa {

/** What `plexa scale` is asked to do. */
struct ScaleRequest {
    std::string input;   // "-": YUV4MPEG on standard input
    std::string output;  // isKnownOutput()
    PictureSize size;
    int64_t maxFrames = 0;  // 0: all
    SheetLayout sheet;
    bool showsProgress = false;
};

/**
 * One run of `plexa scale`. The thread that calls run() is the client of the chain: it decodes and
 * compresses frames and queues them. The stages work on threads of their own, and so does the
 * output, which writes each finished frame and queues its buffer again. There are never more frames
 * on the way than the fixed handful of buffers.
 *
 * Threading: run() once; cancel() at any time, on any thread.
 */
class ScaleJob {
public:
    explicit ScaleJob(ScaleRequest request);

    /** Does the whole job. On failure nothing is left under the output's name. */
    Status run(JobReport* report);

    /** Makes run() end soon, with an error. */
    void cancel();

private:
    Status open();
    Status allocateBuffers();
    Status transfer();
    Status feed();
    Status feedFrame(const AVFrame& frame, FrameTime time);
    Status queueEnd();
    Status drain();
    Status writeFrame(const FrameTraffic::FilledOutput& output);
    int64_t framesToExpect() const;
    void fillReport(JobReport* report) const;

    const ScaleRequest mRequest;
    Cancellation mCancellation;
    FrameReader mReader;
    std::unique_ptr<FrameSink> mSink;
    VideoFormat mResult;  // of the output
    std::optional<FrameCompressor> mCompressor;
    std::vector<android::sp<android::APipeBuffer>> mInputs;
    std::vector<android::sp<android::APipeBuffer>> mOutputs;
    FrameTraffic mTraffic;
    StageTimes mStageTimes;  // before mChain, whose stages trace into it
    ScaleChain mChain;
    int64_t mLastTimeUs = 0;
    int64_t mWritten = 0;  // by the output's thread; read once that has ended
    double mSeconds = 0;
};

}  // namespace plexa
