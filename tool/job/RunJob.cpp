// Runs a video through a chain of stages, end to end.
#include "job/RunJob.h"

#include <utils/Trace.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "base/Text.h"
#include "job/ProgressLine.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"
#include "media/PlanarFrame.h"

namespace plexa {

using android::APipeBuffer;

namespace {

using Clock = std::chrono::steady_clock;

// One buffer is filled, one or two are inside a stage, and one waits so that no stage starves.
constexpr int kInputBuffers = 4;
constexpr int kOutputBuffers = 4;

constexpr AVRational kMicroseconds = {1, 1000000};

// In a trace, as the stages name theirs.
std::string sliceName(const char* work, int64_t timeUs) {
    return text("%s %lld", work, static_cast<long long>(timeUs));
}

// Where the output has no place for the input's rotation, its frames are turned.
InputOptions forOutput(const RunRequest& request) {
    InputOptions options = request.input;
    options.turnsUpright = outputKindOf(request.output) != OutputKind::Mp4;
    return options;
}

RunPlan planFor(const RunRequest& request) {
    const OutputKind kind = outputKindOf(request.output);
    const bool isPicture = kind == OutputKind::Picture;
    return {request.chain, kind, isPicture && request.input.filtersOfOurOwn};
}

}  // namespace

RunJob::RunJob(RunRequest request)
    : mRequest(std::move(request)),
      mReader(forOutput(mRequest)),
      mSink(makeSink(mRequest.output, mRequest.sheet)),
      mPlan(planFor(mRequest)),
      mTraffic(kInputBuffers),
      mSignalReport([this] { return mHasChain ? mChain->debugString() : ""; }) {}

Status RunJob::run(RunReport* report) {
    Status status = open();
    if (status.isOk()) status = transfer();
    if (mChain && mTraffic.wasSilent()) std::fputs(mChain->debugString().c_str(), stderr);
    if (mChain) mChain->stop();
    if (status.isOk()) fillReport(report);
    return status;
}

Status RunJob::open() {
    Status status = mReader.open();
    if (status.isOk()) status = mPlan.make(mReader.format());
    if (!status.isOk()) return status;
    mResult = mPlan.result();
    status = mSink->open(mResult, mReader.format());
    if (!status.isOk()) return status;
    for (int id = 0; id < kOutputBuffers; ++id)
        mOutputs.push_back(allocateLinear(mResult.bitDepth, mResult.width, mResult.height, id));
    makeChain();
    return startChain(mReader.format().width, mReader.format().height);
}

void RunJob::makeChain() {
    mStageTimes.emplace(mPlan.stageNames());
    mChain.emplace(mPlan.stages(), &mTraffic);
    mHasChain = true;
}

Status RunJob::startChain(int width, int height) {
    Status status = allocateBuffers(width, height);
    if (!status.isOk()) return status;
    return mChain->start(mPlan.sourceFormat(width, height), mPlan.resultFormat());
}

Status RunJob::allocateBuffers(int width, int height) {
    mInputs.clear();
    for (int id = 0; id < kInputBuffers; ++id)
        mInputs.push_back(mPlan.compresses()
                              ? allocateCompressed(mResult.bitDepth, width, height, id)
                              : allocateLinear(mResult.bitDepth, width, height, id));
    const auto isMissing = [](const auto& buffer) { return buffer == nullptr; };
    if (std::any_of(mInputs.begin(), mInputs.end(), isMissing) ||
        std::any_of(mOutputs.begin(), mOutputs.end(), isMissing)) {
        return Status::error(withLibraryError(text("no memory for frames of %dx%d and %dx%d", width,
                                                   height, mResult.width, mResult.height)));
    }
    return mPlan.compresses() ? openCompressor(width, height) : Status();
}

Status RunJob::openCompressor(int width, int height) {
    const int bits = mResult.bitDepth;
    mLinear = allocateLinear(bits, width, height, 0);
    mCompressor = android::APipeConverter::Create(android::APipeConverter::kTypeCL);
    const android::sp<android::AMessage> formats = new android::AMessage();
    formats->setMessage("src", formatMessage(linearFormat(bits), width, height));
    formats->setMessage("dst", formatMessage(compressedFormat(bits), width, height));
    if (mLinear != nullptr && mCompressor != nullptr && mCompressor->init(formats) == android::OK) {
        return {};
    }
    return Status::error(
        withLibraryError(text("frames of %dx%d cannot be compressed", width, height)));
}

Status RunJob::transfer() {
    const Clock::time_point start = Clock::now();
    mSelection = mSink->selection(framesToExpect());
    Status status = readNext();
    while (status.isOk()) {
        std::thread output([this] { mTraffic.fail(drain()); });
        mTraffic.fail(feed());
        output.join();
        status = mTraffic.failure();
        if (!status.isOk() || mNext == nullptr) break;
        status = changeSize();
    }
    if (status.isOk()) status = finishOutput();
    mSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    return status;
}

Status RunJob::finishOutput() {
    ATRACE_NAME("write");
    return mSink->finish();
}

// Every frame so far is written; the rest comes in another size.
Status RunJob::changeSize() {
    mNotes.push_back(
        text("%s: the video changes size to %dx%d at frame %lld; all is scaled to "
             "%dx%d",
             mRequest.input.path.c_str(), mNext->width, mNext->height,
             static_cast<long long>(mIndex + 1), mResult.width, mResult.height));
    mChain->stop();
    mTraffic.startAnew(kInputBuffers);
    Status status = mPlan.changeSize(mNext->width, mNext->height);
    if (!status.isOk()) return status;
    return startChain(mNext->width, mNext->height);
}

int64_t RunJob::framesToExpect() const {
    const int64_t expected = mReader.expectedFrames();
    if (mRequest.maxFrames == 0 || expected == 0) return expected;
    return std::min(expected, mRequest.maxFrames);
}

Status RunJob::readNext() {
    mNext = nullptr;
    const bool isEnough =
        mSelection.isCompleteAt(mIndex) || (mRequest.maxFrames > 0 && mIndex == mRequest.maxFrames);
    if (isEnough) return {};
    ATRACE_NAME("decode");
    return mReader.read(&mNext, &mNextTime);
}

Status RunJob::feed() {
    Status status = feedUntilSizeChanges();
    return status.isOk() ? queueEnd() : status;
}

Status RunJob::feedUntilSizeChanges() {
    ProgressLine progress(mRequest.showsProgress, framesToExpect());
    const int width = mInputs[0]->getWidth();
    const int height = mInputs[0]->getHeight();
    while (mNext != nullptr && mNext->width == width && mNext->height == height) {
        Status status = mSelection.take(mIndex) ? feedFrame(*mNext) : Status();
        ++mIndex;
        progress.show(mIndex);
        if (status.isOk()) status = readNext();
        if (!status.isOk() || !mTraffic.failure().isOk()) return status;
    }
    return {};
}

Status RunJob::feedFrame(const AVFrame& frame) {
    int id = -1;
    if (!mTraffic.takeFreeInput(&id)) return {};
    const auto& input = mInputs[static_cast<size_t>(id)];
    mLastTimeUs = av_rescale_q(mNextTime.pts, mReader.format().timeBase, kMicroseconds);
    Status status = fill(frame, input);
    if (!status.isOk()) return status;
    input->getMeta()->setInt64("timeUs", mLastTimeUs);
    const std::shared_ptr<AVFrame> properties(av_frame_alloc(), AvDelete());
    av_frame_copy_props(properties.get(), &frame);
    mTraffic.inputQueued({mNextTime, mLastTimeUs, properties});
    return mChain->queueInput(input);
}

Status RunJob::fill(const AVFrame& frame, const android::sp<APipeBuffer>& input) {
    ATRACE_NAME(sliceName(mPlan.compresses() ? "compress" : "pack", mLastTimeUs).c_str());
    pack(frame, pixelsOf(mPlan.compresses() ? mLinear : input));
    if (!mPlan.compresses() || mCompressor->convert(mLinear, input) == android::OK) return {};
    return Status::error(withLibraryError("a frame could not be compressed"));
}

// The stages pass a buffer marked so on without working on it, behind all frames.
Status RunJob::queueEnd() {
    int id = -1;
    if (!mTraffic.takeFreeInput(&id)) return {};
    const auto& input = mInputs[static_cast<size_t>(id)];
    const int64_t timeUs = mLastTimeUs + 1;  // of no frame, so that a trace tells it from them
    input->getMeta()->setInt64("timeUs", timeUs);
    input->getMeta()->setInt32("eos", 1);
    mTraffic.inputQueued({{}, timeUs, nullptr, true});
    return mChain->queueInput(input);
}

Status RunJob::drain() {
    for (const auto& buffer : mOutputs) {
        mTraffic.outputQueued();
        Status status = mChain->queueOutput(buffer);
        if (!status.isOk()) return status;
    }
    FrameTraffic::FilledOutput output;
    while (mTraffic.takeFilledOutput(&output)) {
        if (output.frame.isEnd) return {};
        Status status = writeFrame(output);
        if (!status.isOk()) return status;
    }
    return {};
}

Status RunJob::writeFrame(const FrameTraffic::FilledOutput& output) {
    ATRACE_NAME(sliceName("write", output.frame.timeUs).c_str());
    const auto& buffer = mOutputs[static_cast<size_t>(output.bufferId)];
    Status status = mSink->write({buffer, output.frame.time, output.frame.properties});
    if (!status.isOk()) return status;
    ++mWritten;
    mTraffic.outputQueued();
    return mChain->queueOutput(buffer);
}

void RunJob::fillReport(RunReport* report) const {
    report->input = mRequest.input.path;
    report->output = mRequest.output;
    report->source = mReader.source();
    report->size = {mResult.width, mResult.height};
    report->damage = mReader.damage();
    report->notes = outputKindOf(mRequest.output) == OutputKind::Picture ? mReader.pictureNotes()
                                                                         : mReader.notes();
    for (const auto& more : {mNotes, mSink->notes()})
        report->notes.insert(report->notes.end(), more.begin(), more.end());
    report->frames = mWritten;
    report->seconds = mSeconds;
    report->stages = mStageTimes->summary();
    report->chain = mTraffic.chainTimes();
}

}  // namespace plexa
