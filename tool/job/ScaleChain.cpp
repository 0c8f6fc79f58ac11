// The client's side of a chain that decompresses and scales.
#include "job/ScaleChain.h"

#include <APipeDecompress.h>
#include <APipeItemGenerator.h>
#include <APipeScale.h>

#include <utility>

#include "base/Text.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"

namespace plexa {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeItem;
using android::sp;

namespace {

sp<APipe> withGenerator(const sp<APipe>& stage, const char* name) {
    stage->setItemGenerator(new android::APipeItemGenerator(name));
    return stage;
}

Status queued(android::status_t result, const char* what) {
    if (result == android::OK) return {};
    return Status::error(text("the pipe refused an %s (status %d)", what, result));
}

}  // namespace

ScaleChain::ScaleChain(FrameTraffic* traffic)
    : mLooper(new android::ALooper()), mHandler(new NoticeHandler(traffic)) {
    mLooper->setName("plexa_notices");
    mLooper->start(false, false, android::APipe::kLooperPriority);
    mLooper->registerHandler(mHandler);
    const sp<AMessage> notify = new AMessage(0, mHandler);
    mLast = withGenerator(new android::APipeScale(nullptr, notify), "plexa_scale");
    mFirst = withGenerator(new android::APipeDecompress(mLast, notify), "plexa_decompress");
}

ScaleChain::~ScaleChain() {
    stop();
    // The stages go before the looper that hears them.
    mFirst.clear();
    mLast.clear();
    mLooper->stop();
}

Status ScaleChain::start(const Sizes& sizes) {
    mHandler->startAnew();
    android::status_t result = mFirst->init(
        formatMessage(compressedFormat(sizes.bitDepth), sizes.sourceWidth, sizes.sourceHeight),
        formatMessage(linearFormat(sizes.bitDepth), sizes.width, sizes.height));
    mStarted = result == android::OK && mHandler->waitForInit();
    if (mStarted) return {};
    return Status::error(
        withLibraryError(text("the pipe cannot scale %dx%d to %dx%d", sizes.sourceWidth,
                              sizes.sourceHeight, sizes.width, sizes.height)));
}

Status ScaleChain::queueInput(const sp<APipeBuffer>& input) {
    sp<APipeItem> item = new APipeItem();
    item->mInput = input;
    return queued(mFirst->queueItem(item), "input");
}

Status ScaleChain::queueOutput(const sp<APipeBuffer>& output) {
    sp<APipeItem> item = new APipeItem();
    item->mOutput = output;
    return queued(mLast->queueItem(item), "output");
}

void ScaleChain::stop() {
    // Only a chain that has come up as a whole completes a release with a notice.
    if (std::exchange(mStarted, false)) {
        mFirst->release();
        mHandler->waitForRelease();
    }
}

}  // namespace plexa
