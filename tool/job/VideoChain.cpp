// The client's side of a chain that a video goes through.
#include "job/VideoChain.h"

#include <APipeItemGenerator.h>

#include <utility>

#include "base/Text.h"
#include "media/LibraryLog.h"

namespace plexa {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeItem;
using android::sp;

namespace {

Status queued(android::status_t result, const char* what) {
    if (result == android::OK) return {};
    return Status::error(text("the pipe refused an %s (status %d)", what, result));
}

}  // namespace

VideoChain::VideoChain(const std::vector<kit::StageSpec>& stages, FrameTraffic* traffic)
    : mLooper(new android::ALooper()), mHandler(new NoticeHandler(traffic)) {
    mLooper->setName("plexa_notices");
    mLooper->start(false, false, android::APipe::kLooperPriority);
    mLooper->registerHandler(mHandler);
    const sp<AMessage> notify = new AMessage(0, mHandler);
    for (auto stage = stages.rbegin(); stage != stages.rend(); ++stage)
        mFirst = kit::newStage(*stage, mFirst, notify);
}

VideoChain::~VideoChain() {
    stop();
    // The stages go before the looper that hears them.
    mFirst.clear();
    mLooper->stop();
}

Status VideoChain::start(const kit::FrameFormat& source, const kit::FrameFormat& destination) {
    mHandler->startAnew();
    android::status_t result = mFirst->init(kit::formatOf(source), kit::formatOf(destination));
    mStarted = result == android::OK && mHandler->waitForInit();
    if (mStarted) return {};
    return Status::error(
        withLibraryError(text("the pipe cannot make %dx%d of %dx%d", destination.width,
                              destination.height, source.width, source.height)));
}

Status VideoChain::queueInput(const sp<APipeBuffer>& input) {
    sp<APipeItem> item = new APipeItem();
    item->mInput = input;
    return queued(mFirst->queueItem(item), "input");
}

Status VideoChain::queueOutput(const sp<APipeBuffer>& output) {
    sp<APipeItem> item = new APipeItem();
    item->mOutput = output;
    return queued(mFirst->getLastPipe()->queueItem(item), "output");
}

void VideoChain::stop() {
    // Only a chain that has come up as a whole completes a release with a notice.
    if (std::exchange(mStarted, false)) {
        mFirst->release();
        mHandler->waitForRelease();
    }
}

}  // namespace plexa
