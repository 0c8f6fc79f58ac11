// The stage that turns compressed frames into plain ones.
#define LOG_TAG "APipeDecompress"

#include "APipeDecompress.h"

#include <utils/Log.h>

#include "APipeFormatReader.h"
#include "APipeMessages.h"

namespace android {

namespace {

// One being filled while the next stage reads the other.
constexpr int kOutputCount = 2;

APipeBuffer::ColorFormat plainFormatOf(int32_t compressed) {
    switch (compressed) {
        case APipeBuffer::Nv12Ubwc:
            return APipeBuffer::Nv12Venus;
        case APipeBuffer::Tp10Ubwc:
            return APipeBuffer::P010Venus;
        default:
            return APipeBuffer::Unknown;
    }
}

// Null for a format that cannot be copied.
sp<AMessage> withColorFormat(const sp<AMessage>& format, int32_t colorFormat) {
    sp<AMessage> copy = APipeMessages::copy(LOG_TAG, format);
    if (copy != nullptr) copy->setInt32("colorformat", colorFormat);
    return copy;
}

}  // namespace

APipeDecompress::APipeDecompress(const sp<APipe>& next, const sp<AMessage>& notify)
    : APipe(next, notify, LOG_TAG) {
    ALOGI("APipeDecompress");
}

APipeDecompress::~APipeDecompress() {
    ALOGI("~APipeDecompress");
}

status_t APipeDecompress::updateInputFormat(const sp<AMessage>& format) {
    ALOGI("updateInputFormat");
    int32_t colorFormat;
    if (format == nullptr || !format->findInt32("colorformat", &colorFormat)) {
        ALOGE("updateInputFormat colorformat couldn't be found");
        return BAD_VALUE;
    }
    if (colorFormat != mInputColorFormat && mNextPipe != nullptr) {
        mNextPipe->updateInputFormat(format);
    }
    return OK;
}

void APipeDecompress::onInit(const sp<AMessage>& msg) {
    if (!setUp(msg)) return notifyError(UNKNOWN_ERROR);
    ALOGI("onInit out");
    APipe::onInit(msg);
}

bool APipeDecompress::setUp(const sp<AMessage>& msg) {
    const APipeFormatReader formats(LOG_TAG, msg);
    int32_t srcFormat, dstFormat;
    if (!formats.readForStage(&srcFormat, &dstFormat)) return false;
    const APipeBuffer::ColorFormat plain = plainFormatOf(srcFormat);
    ALOGI("(srcColorFormat %d -> changedFormat %d), dstColorFormat %d", srcFormat, plain,
          dstFormat);
    const sp<AMessage> plainSrc = withColorFormat(formats.src(), plain);
    const sp<AMessage> plainDst = withColorFormat(formats.dst(), plain);
    if (plainSrc == nullptr || plainDst == nullptr) return false;
    const sp<AMessage> converterFormats = new AMessage;
    converterFormats->setMessage("src", formats.src());
    converterFormats->setMessage("dst", plainDst);
    mConverter = APipeConverter::Create(APipeConverter::kTypeCL);
    if (mConverter == nullptr || mConverter->init(converterFormats) != OK) return false;
    APipeFormatReader::Size size;
    if (!formats.findSrcSize(&size)) return false;
    if (setBufferInfo(kOutputCount, size.width, size.height,
                      static_cast<APipeBuffer::ColorFormat>(srcFormat), false) != OK) {
        ALOGE("onInit setBufferInfo failed");
        return false;
    }
    mInputColorFormat = srcFormat;
    msg->setMessage("src", plainSrc);
    return true;
}

void APipeDecompress::onWork() {
    workOnFirstItem([this](const APipeItem& item) {
        const status_t err = mConverter->convert(item.mInput, item.mOutput);
        ALOGE_IF(err != OK, "onWork convert failed");
        return err;
    });
}

}  // namespace android
