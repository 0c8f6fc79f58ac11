// A stage of one's own, which blurs what is behind a person.
#define LOG_TAG "PortraitStage"

#include "PortraitStage.h"

#include <utils/Log.h>

#include <cstring>

namespace android {

namespace {

// One being filled, one on its way, one that the next stage reads.
constexpr int kOutputCount = 3;

bool findRadius(const sp<APipeBuffer>& frame, int32_t* radius) {
    sp<ABuffer> blob;
    if (!frame->getMeta()->findBuffer("frameMeta", &blob)) return false;
    if (blob == nullptr || blob->size() != sizeof(*radius)) return false;
    memcpy(radius, blob->data(), sizeof(*radius));
    return *radius >= 0;
}

}  // namespace

PortraitStage::PortraitStage(const sp<APipe>& next, const sp<AMessage>& notify)
    : APipe(next, notify, LOG_TAG) {
    setItemGenerator(new APipePortraitItemGenerator);
}

sp<AMessage> PortraitStage::blurMeta(int64_t timeUs, int32_t radius) {
    sp<AMessage> meta = new AMessage;
    meta->setInt64("timeUs", timeUs);
    meta->setBuffer("frameMeta", ABuffer::CreateAsCopy(&radius, sizeof(radius)));
    return meta;
}

void PortraitStage::onInit(const sp<AMessage>& msg) {
    if (setUp(msg) != OK) return notifyError(UNKNOWN_ERROR);
    APipe::onInit(msg);
}

status_t PortraitStage::setUp(const sp<AMessage>& msg) {
    sp<AMessage> src;
    int32_t colorFormat, width, height;
    if (!msg->findMessage("src", &src) || src == nullptr ||
        !src->findInt32("colorformat", &colorFormat) || !src->findInt32("width", &width) ||
        !src->findInt32("height", &height)) {
        ALOGE("onInit \"src\" lacks \"colorformat\", \"width\" or \"height\"");
        return BAD_VALUE;
    }
    if (colorFormat != APipeBuffer::Yuv420p || width < 2 || height < 2 || (width | height) % 2) {
        ALOGE("onInit cannot work on %d x %d in colour format %d", width, height, colorFormat);
        return BAD_VALUE;
    }
    mBlur = std::make_unique<BackgroundBlur>(width, height);
    return setBufferInfo(kOutputCount, width, height, APipeBuffer::Yuv420p, false);
}

void PortraitStage::onWork() {
    workOnFirstItem([this](const APipeItem& item) { return blur(item); });
}

status_t PortraitStage::blur(const APipeItem& item) {
    int32_t radius;
    if (item.mSubInput == nullptr || !findRadius(item.mInput, &radius)) {
        ALOGE("onWork item without a mask or a blur radius");
        return BAD_VALUE;
    }
    return mBlur->run(item.mInput, item.mSubInput, radius, item.mOutput);
}

void PortraitStage::onRelease() {
    mBlur.reset();
    APipe::onRelease();
}

}  // namespace android
