// The stage that resizes frames.
#define LOG_TAG "APipeScale"

#include "APipeScale.h"

#include <utils/Log.h>

#include "APipeFormatReader.h"
#include "APipeMessages.h"

namespace android {

namespace {

// One being filled, one on its way, and two that the next stage may gather.
constexpr int kOutputCount = 4;

}  // namespace

APipeScale::APipeScale(const sp<APipe>& next, const sp<AMessage>& notify)
    : APipe(next, notify, LOG_TAG) {}

APipeScale::~APipeScale() {
    if (mScaler != nullptr) mScaler->deinit();
}

status_t APipeScale::updateInputFormat(const sp<AMessage>& format) {
    ALOGI("updateInputFormat");
    if (mNextPipe != nullptr) mNextPipe->updateInputFormat(format);
    return OK;
}

void APipeScale::onInit(const sp<AMessage>& msg) {
    ALOGI("onInit");
    if (setUp(msg)) {
        APipe::onInit(msg);
    } else {
        notifyError(UNKNOWN_ERROR);
    }
}

bool APipeScale::setUp(const sp<AMessage>& msg) {
    const APipeFormatReader formats(LOG_TAG, msg);
    int32_t srcFormat, dstFormat;
    if (!formats.readForStage(&srcFormat, &dstFormat)) return false;
    ALOGI("srcColorFormat %d, dstColorFormat %d", srcFormat, dstFormat);
    APipeFormatReader::Size src, dst;
    if (!formats.findSrcSize(&src) || !formats.findDstSize(&dst)) return false;
    ALOGI("onInit change input (width %d, height %d) to output (width %d, height %d)", src.width,
          src.height, dst.width, dst.height);
    if (setBufferInfo(kOutputCount, dst.width, dst.height,
                      static_cast<APipeBuffer::ColorFormat>(dstFormat), false) != OK) {
        ALOGE("onInit setBufferInfo failed");
        return false;
    }
    mScaler = AScaler::Create(AScaler::kTypeCL);
    if (mScaler == nullptr) {
        ALOGE("onInit mScaler is not created");
        return false;
    }
    if (mScaler->init(msg) != OK) {
        ALOGE("onInit scaler->init failed");
        return false;
    }
    const sp<AMessage> output = APipeMessages::copy(LOG_TAG, formats.src());
    if (output == nullptr) return false;
    output->setInt32("width", dst.width);
    output->setInt32("height", dst.height);
    msg->setMessage("src", output);
    return true;
}

void APipeScale::onWork() {
    workOnFirstItem([this](const APipeItem& item) {
        const status_t err = mScaler != nullptr ? mScaler->scale(item.mInput, item.mOutput) : OK;
        ALOGE_IF(err != OK, "Failed to scale");
        return err;
    });
}

void APipeScale::onRelease() {
    ALOGI("onRelease");
    if (mScaler != nullptr) mScaler->deinit();
    APipe::onRelease();
}

}  // namespace android
