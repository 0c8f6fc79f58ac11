// Scales a video through a chain of stages, end to end.
#include "job/ScaleJob.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>
#include <utility>

#include "base/Text.h"
#include "job/FrameBuffers.h"
#include "job/LibraryLog.h"
#include "job/ProgressLine.h"

namespace plexa {
namespace {

using Clock = std::chrono::steady_clock;

// One buffer is filled, one or two are inside a stage, and one waits so that no stage starves.
constexpr int kInputBuffers = 4;
constexpr int kOutputBuffers = 4;

constexpr AVRational kMicroseconds = {1, 1000000};

}  // namespace

ScaleJob::ScaleJob(ScaleRequest request)
    : mRequest(std::move(request)),
      mReader(mCancellation),
      mSink(makeSink(mRequest.output, mRequest.sheet, mCancellation)),
      mTraffic(kInputBuffers),
      mStageTimes({std::begin(ScaleChain::kStageNames), std::end(ScaleChain::kStageNames)}) {}

void ScaleJob::cancel() {
    mCancellation.request();
    mTraffic.fail(Status::error("interrupted"));
}

Status ScaleJob::run(JobReport* report) {
    Status status = open();
    if (status.isOk()) status = transfer();
    mChain.stop();
    if (status.isOk()) fillReport(report);
    // Whatever came first after the interruption, this is what the user knows as the cause.
    if (!status.isOk() && mCancellation.isRequested()) {
        const std::string name = mRequest.output == "-" ? "standard output" : mRequest.output;
        return Status::error(name + ": interrupted before it was complete");
    }
    return status;
}

Status ScaleJob::open() {
    Status status = mReader.open(mRequest.input);
    if (!status.isOk()) return status;
    const VideoFormat& source = mReader.format();
    PictureSize size;
    status = resolve(mRequest.size, source.width, source.height, &size);
    if (!status.isOk()) return status;
    mResult = source;
    mResult.width = size.width;
    mResult.height = size.height;
    status = mSink->open(mResult);
    if (status.isOk()) status = allocateBuffers();
    if (!status.isOk()) return status;
    return mChain.start({source.width, source.height, size.width, size.height, source.bitDepth},
                        &mTraffic);
}

Status ScaleJob::allocateBuffers() {
    const VideoFormat& source = mReader.format();
    for (int id = 0; id < kInputBuffers; ++id) {
        mInputs.push_back(allocateCompressed(source.bitDepth, source.width, source.height, id));
    }
    for (int id = 0; id < kOutputBuffers; ++id) {
        mOutputs.push_back(allocateLinear(mResult.bitDepth, mResult.width, mResult.height, id));
    }
    const auto isMissing = [](const auto& buffer) { return buffer == nullptr; };
    if (std::any_of(mInputs.begin(), mInputs.end(), isMissing) ||
        std::any_of(mOutputs.begin(), mOutputs.end(), isMissing)) {
        return Status::error(
            withLibraryError(text("no memory for frames of %dx%d and %dx%d", source.width,
                                  source.height, mResult.width, mResult.height)));
    }
    mCompressor.emplace(source);
    return mCompressor->open();
}

Status ScaleJob::transfer() {
    const Clock::time_point start = Clock::now();
    std::thread output([this] { mTraffic.fail(drain()); });
    mTraffic.fail(feed());
    output.join();
    Status status = mTraffic.failure();
    if (status.isOk()) status = mSink->finish();
    mSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    return status;
}

int64_t ScaleJob::framesToExpect() const {
    const int64_t expected = mReader.expectedFrames();
    if (mRequest.maxFrames == 0 || expected == 0) return expected;
    return std::min(expected, mRequest.maxFrames);
}

Status ScaleJob::feed() {
    const int64_t expectedFrames = framesToExpect();
    ProgressLine progress(mRequest.showsProgress, expectedFrames);
    FrameSelection selection = mSink->selection(expectedFrames);
    for (int64_t index = 0; !selection.isCompleteAt(index); ++index) {
        if (mRequest.maxFrames > 0 && index == mRequest.maxFrames) break;
        const AVFrame* frame = nullptr;
        FrameTime time;
        Status status = mReader.read(&frame, &time);
        if (status.isOk() && frame == nullptr) break;
        if (status.isOk() && selection.take(index)) status = feedFrame(*frame, time);
        if (!status.isOk()) return status;
        if (!mTraffic.failure().isOk()) return {};
        progress.show(index + 1);
    }
    return queueEnd();
}

Status ScaleJob::feedFrame(const AVFrame& frame, FrameTime time) {
    int id = -1;
    if (!mTraffic.takeFreeInput(&id)) return {};
    const auto& input = mInputs[static_cast<size_t>(id)];
    Status status = mCompressor->compress(frame, input);
    if (!status.isOk()) return Status::error(mRequest.input + ": " + status.text());
    mLastTimeUs = av_rescale_q(time.pts, mReader.format().timeBase, kMicroseconds);
    input->getMeta()->setInt64("timeUs", mLastTimeUs);
    mTraffic.inputQueued(time, mLastTimeUs);
    return mChain.queueInput(input);
}

// The stages pass a buffer marked so on without working on it, behind all frames.
Status ScaleJob::queueEnd() {
    int id = -1;
    if (!mTraffic.takeFreeInput(&id)) return {};
    const auto& input = mInputs[static_cast<size_t>(id)];
    input->getMeta()->setInt64("timeUs", mLastTimeUs);
    input->getMeta()->setInt32("eos", 1);
    mTraffic.endQueued(mLastTimeUs);
    return mChain.queueInput(input);
}

Status ScaleJob::drain() {
    for (const auto& buffer : mOutputs) {
        mTraffic.outputQueued();
        Status status = mChain.queueOutput(buffer);
        if (!status.isOk()) return status;
    }
    FrameTraffic::FilledOutput output;
    while (mTraffic.takeFilledOutput(&output)) {
        if (output.isEnd) return {};
        Status status = writeFrame(output);
        if (!status.isOk()) return status;
    }
    return {};
}

Status ScaleJob::writeFrame(const FrameTraffic::FilledOutput& output) {
    const auto& buffer = mOutputs[static_cast<size_t>(output.bufferId)];
    const WritableSemiPlanarPicture pixels = pixelsOf(buffer);
    Status status =
        mSink->write({pixels.luma, pixels.chroma, pixels.lumaStride, pixels.chromaStride,
                      pixels.width, pixels.height, pixels.bitDepth},
                     output.time);
    if (!status.isOk()) return status;
    ++mWritten;
    mTraffic.outputQueued();
    return mChain.queueOutput(buffer);
}

void ScaleJob::fillReport(JobReport* report) const {
    report->input = mRequest.input;
    report->output = mRequest.output;
    report->source = mReader.format();
    report->result = mResult;
    report->frames = mWritten;
    report->seconds = mSeconds;
    report->stages = mStageTimes.summary();
    report->chain = mTraffic.chainTimes();
    report->warnings = mReader.warnings();
    for (std::string& warning : mSink->warnings())
        report->warnings.push_back(std::move(warning));
}

}  // namespace plexa
