// Scales a video through a chain of stages, end to end.
#pragma once

#include <APipeConverter.h>

#include <memory>
#include <string>
#include <vector>

#include "base/SignalReport.h"
#include "job/FrameTraffic.h"
#include "job/Geometry.h"
#include "job/JobReport.h"
#include "job/ScaleChain.h"
#include "media/FrameReader.h"
#include "output/FrameSink.h"

namespace plexa {

/** What `plexa scale` is asked to do. */
struct ScaleRequest {
    InputOptions input;
    std::string output;  // of a known OutputKind
    PictureSize size;
    int64_t maxFrames = 0;  // 0: all
    SheetLayout sheet;
    bool showsProgress = false;
};

/**
 * One run of `plexa scale`. The thread that calls run() is the client of the chain: it decodes and
 * compresses frames and queues them. The stages work on threads of their own, and so does the
 * output, which writes each finished frame and queues its buffer again. There are never more frames
 * on the way than the fixed handful of buffers. Where the input changes its size, the chain is
 * emptied, released and started anew for the rest.
 *
 * Threading: reentrant; run() once.
 */
class ScaleJob {
public:
    explicit ScaleJob(ScaleRequest request);

    /** Does the whole job. On failure nothing is left under the output's name. */
    Status run(ScaleReport* report);

private:
    Status open();
    Status chooseSize();
    Status startChain(int width, int height);
    Status allocateBuffers(int width, int height);
    Status openCompressor(int width, int height);
    Status transfer();
    Status feed();
    Status feedUntilSizeChanges();
    Status feedFrame(const AVFrame& frame);
    Status compress(const AVFrame& frame, const android::sp<android::APipeBuffer>& input);
    Status readNext();
    Status finishOutput();
    Status changeSize();
    Status queueEnd();
    Status drain();
    Status writeFrame(const FrameTraffic::FilledOutput& output);
    int64_t framesToExpect() const;
    void fillReport(ScaleReport* report) const;

    const ScaleRequest mRequest;
    FrameReader mReader;
    std::unique_ptr<FrameSink> mSink;
    VideoFormat mResult;  // of the output
    FrameSelection mSelection = FrameSelection::all();
    const AVFrame* mNext = nullptr;  // the frame to feed; null at the end
    FrameTime mNextTime;
    int64_t mIndex = 0;  // of mNext
    // A decoded frame on its way into a compressed buffer, as from a device's decoder.
    android::sp<android::APipeBuffer> mLinear;
    std::shared_ptr<android::APipeConverter> mCompressor;
    std::vector<std::string> mNotes;
    std::vector<android::sp<android::APipeBuffer>> mInputs;
    std::vector<android::sp<android::APipeBuffer>> mOutputs;
    FrameTraffic mTraffic;
    StageTimes mStageTimes;  // before mChain, whose stages trace into it
    ScaleChain mChain;
    SignalReport mSignalReport;  // of where every buffer is
    int64_t mLastTimeUs = 0;
    int64_t mWritten = 0;  // by the output's thread; read once that has ended
    double mSeconds = 0;
};

}  // namespace plexa
