// The stages of a run, and the formats between them.
#include "job/RunPlan.h"

#include <host/TraceSink.h>

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"

namespace plexa {

using android::APipeBuffer;

namespace {

// While it lives, what is only tried is neither traced nor told of in errors.
class Rehearsal {
public:
    Rehearsal() { android::host::setTraceSink(nullptr); }
    ~Rehearsal() {
        android::host::setTraceSink(mSink);
        forgetLibraryError();
    }
    Rehearsal(const Rehearsal&) = delete;
    Rehearsal& operator=(const Rehearsal&) = delete;

private:
    android::host::TraceSink* const mSink = android::host::traceSink();
};

Status chainError(const std::string& text) {
    return Status::error("--chain: " + text);
}

}  // namespace

RunPlan::RunPlan(std::vector<kit::StageWord> chain, OutputKind output, bool makesSquarePixels)
    : mChain(std::move(chain)), mOutput(output), mMakesSquarePixels(makesSquarePixels) {}

Status RunPlan::make(const VideoFormat& source) {
    mSource = source;
    mResult = source;
    Status status = findStages();
    kit::FrameFormat gives;
    if (status.isOk()) status = findPassage(source.width, source.height, &gives);
    if (!status.isOk()) return status;
    mResult.width = gives.width;
    mResult.height = gives.height;
    mResult.sampleAspectRatio =
        aspectFor({gives.width, gives.height}, shownSize(),
                  mMakesSquarePixels ? AVRational{1, 1} : source.sampleAspectRatio);
    return {};
}

Status RunPlan::changeSize(int width, int height) {
    kit::FrameFormat gives;
    Status status = findPassage(width, height, &gives);
    if (!status.isOk() || (gives.width == mResult.width && gives.height == mResult.height))
        return status;
    return chainError(text("the video changes size to %dx%d, and no stage scales it to %dx%d",
                           width, height, mResult.width, mResult.height));
}

Status RunPlan::findStages() {
    for (kit::StageWord word : mChain) {
        Status status = resolveScale(&word);
        if (!status.isOk()) return status;
        std::string error;
        mStages.push_back(kit::findStage(word, &error));
        if (!error.empty()) return chainError(error);
        if (kit::needsParts(kit::newStage(mStages.back(), nullptr, nullptr))) {
            return chainError(word.name +
                              " pairs frames with sub inputs and metadata, of which a video has "
                              "none");
        }
    }
    return {};
}

Status RunPlan::resolveScale(kit::StageWord* word) const {
    if (word->name != "scale") return {};
    const bool isEncoded = mOutput == OutputKind::Mp4 || mOutput == OutputKind::Matroska;
    PictureSize size;
    Status status = parseSize(word->arguments, &size);
    if (status.isOk())
        status = resolve(size, shownSize(), isEncoded ? SideRule::Even : SideRule::Any, &size);
    word->arguments = text("%dx%d", size.width, size.height);
    return status;
}

PictureSize RunPlan::shownSize() const {
    const PictureSize coded{mSource.width, mSource.height};
    return mMakesSquarePixels ? squarePixels(coded, mSource.sampleAspectRatio) : coded;
}

Status RunPlan::findPassage(int width, int height, kit::FrameFormat* gives) {
    const Rehearsal rehearsal;
    for (const bool compresses : {true, false}) {
        mCompresses = compresses;
        const auto found = kit::passageOf(mStages, sourceFormat(width, height));
        if (!found) continue;
        *gives = found->gives;
        const kit::FrameFormat wanted = linear(gives->width, gives->height);
        if (gives->memory == wanted.memory && kit::haveSameSamples(gives->color, wanted.color))
            return {};
        return chainError(mStages.back().name + " gives " + kit::toText(*gives) +
                          "; the output wants " + kit::toText(wanted));
    }
    mCompresses = true;
    mCompresses = kit::passageOf({mStages.front()}, sourceFormat(width, height)).has_value();
    return chainError(kit::misfitOf(mStages, sourceFormat(width, height)));
}

std::vector<std::string> RunPlan::stageNames() const {
    std::vector<std::string> names;
    for (const kit::StageSpec& stage : mStages) {
        const std::string name = kit::ownNameOf(kit::newStage(stage, nullptr, nullptr));
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

kit::FrameFormat RunPlan::sourceFormat(int width, int height) const {
    kit::FrameFormat format = linear(width, height);
    if (mCompresses) format.color = compressedFormat(mSource.bitDepth);
    return format;
}

kit::FrameFormat RunPlan::linear(int width, int height) const {
    return {linearFormat(mSource.bitDepth), APipeBuffer::GraphicMemory, width, height};
}

}  // namespace plexa
