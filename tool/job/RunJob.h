// Runs a video through a chain of stages, end to end.
#pragma once

#include <APipeConverter.h>
#include <kit/StageLibrary.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/SignalReport.h"
#include "job/FrameTraffic.h"
#include "job/Geometry.h"
#include "job/JobReport.h"
#include "job/RunPlan.h"
#include "job/VideoChain.h"
#include "media/FrameReader.h"
#include "output/FrameSink.h"

namespace plexa {

/** What `plexa run` is asked to do. */
struct RunRequest {
    InputOptions input;
    std::string output;  // of a known OutputKind
    /** A side of a "scale" may be -1, which follows from the input's aspect. */
    std::vector<kit::StageWord> chain;
    int64_t maxFrames = 0;  // 0: all
    SheetLayout sheet;
    bool showsProgress = false;
};

/**
 * One run of `plexa run`, or `plexa scale`. The thread that calls run() is the client of the chain:
 * it decodes frames, compresses them where the first stage takes such, and queues them. The stages
 * work on threads of their own, and so does the output, which writes each finished frame and queues
 * its buffer again. There are never more frames on the way than the fixed handful of buffers. Where
 * the input changes its size, the chain is emptied, released and started anew for the rest.
 *
 * Threading: reentrant; run() once.
 */
class RunJob {
public:
    explicit RunJob(RunRequest request);

    /** Does the whole job. On failure nothing is left under the output's name. */
    Status run(RunReport* report);

private:
    Status open();
    void makeChain();
    Status startChain(int width, int height);
    Status allocateBuffers(int width, int height);
    Status openCompressor(int width, int height);
    Status transfer();
    Status finishOutput();
    Status feed();
    Status feedUntilSizeChanges();
    Status feedFrame(const AVFrame& frame);
    Status fill(const AVFrame& frame, const android::sp<android::APipeBuffer>& input);
    Status readNext();
    Status changeSize();
    Status queueEnd();
    Status drain();
    Status writeFrame(const FrameTraffic::FilledOutput& output);
    int64_t framesToExpect() const;
    void fillReport(RunReport* report) const;

    const RunRequest mRequest;
    FrameReader mReader;
    std::unique_ptr<FrameSink> mSink;
    RunPlan mPlan;
    VideoFormat mResult;  // of the output
    FrameSelection mSelection = FrameSelection::all();
    const AVFrame* mNext = nullptr;  // the frame to feed; null at the end
    FrameTime mNextTime;
    int64_t mIndex = 0;                         // of mNext
    android::sp<android::APipeBuffer> mLinear;  // a frame on its way into a compressed buffer
    std::shared_ptr<android::APipeConverter> mCompressor;
    std::vector<std::string> mNotes;
    std::vector<android::sp<android::APipeBuffer>> mInputs;
    std::vector<android::sp<android::APipeBuffer>> mOutputs;
    FrameTraffic mTraffic;
    std::optional<StageTimes> mStageTimes;  // before mChain, whose stages trace into it
    std::optional<VideoChain> mChain;
    std::atomic<bool> mHasChain = false;
    SignalReport mSignalReport;  // of where every buffer is
    int64_t mLastTimeUs = 0;
    int64_t mWritten = 0;  // by the output's thread; read once that has ended
    double mSeconds = 0;
};

}  // namespace plexa
