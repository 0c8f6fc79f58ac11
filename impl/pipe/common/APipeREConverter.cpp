// Putting a capture call together.
#define LOG_TAG "APipeREConverter"

#include "APipeREConverter.h"

#include <ZelFrameCaptureLayer.h>
#include <android/hardware/graphics/common/1.2/types.h>
#include <ui/Rect.h>
#include <utils/Log.h>

#include "APipeGraphicPair.h"

namespace android {

namespace {

using HalPixelFormat = hardware::graphics::common::V1_2::PixelFormat;

// The library's first argument of init; no other value is in use.
constexpr int kInitArgument = 1;
constexpr auto kCaptureMode = static_cast<ZelFrameCaptureLayer::CaptureMode>(0);

// The visible part, right and bottom exclusive.
Rect visiblePart(const AMessage& meta, const GraphicBuffer& source) {
    Rect crop;
    if (meta.findRect("crop", &crop.left, &crop.top, &crop.right, &crop.bottom)) return crop;
    ALOGW("There's no crop information, fill GraphicBuffer width, height");
    return Rect(static_cast<int32_t>(source.getWidth()), static_cast<int32_t>(source.getHeight()));
}

// Wide in between: a client may set any edges.
int32_t difference(int32_t edge, int32_t other) {
    return static_cast<int32_t>(int64_t{edge} - other);
}

void passBuffer(const AMessage& meta, const char* name, AMessage* parameters) {
    sp<ABuffer> buffer;
    meta.findBuffer(name, &buffer);
    if (buffer != nullptr) parameters->setBuffer(name, buffer);
}

sp<AMessage> captureParameters(const AMessage& meta, const Rect& visible, const Rect& inclusive) {
    sp<AMessage> parameters = new AMessage;
    parameters->setInt32("width", difference(visible.right, visible.left));
    parameters->setInt32("height", difference(visible.bottom, visible.top));
    parameters->setRect("crop", inclusive.left, inclusive.top, inclusive.right, inclusive.bottom);
    passBuffer(meta, "hdr-static-info", parameters.get());
    passBuffer(meta, "hdr10-plus-info", parameters.get());
    int32_t dataSpace = 0;
    meta.findInt32("dataSpace", &dataSpace);
    parameters->setInt32("android._dataspace", dataSpace);
    return parameters;
}

}  // namespace

APipeREConverter::APipeREConverter() = default;

APipeREConverter::~APipeREConverter() = default;

status_t APipeREConverter::init(const sp<AMessage>& /*msg*/) {
    mFrameCaptureLayer = new ZelFrameCaptureLayer;
    const status_t err = mFrameCaptureLayer->init(kInitArgument, kCaptureMode);
    if (err != OK) {
        ALOGE("init failed err %d", err);
    } else {
        ALOGI("init success");
    }
    return err;
}

status_t APipeREConverter::convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) {
    if (mFrameCaptureLayer == nullptr) {
        ALOGE("convert called before init");
        return UNKNOWN_ERROR;
    }
    const APipeGraphicPair frames(LOG_TAG, "convert", input, output);
    if (!frames.isComplete()) return UNKNOWN_ERROR;
    const sp<AMessage> meta = input->getMeta();
    const Rect visible = visiblePart(*meta, *frames.source());
    const Rect inclusive(visible.left, visible.top, difference(visible.right, 1),
                         difference(visible.bottom, 1));
    const status_t err = mFrameCaptureLayer->capture(
        frames.source(), inclusive, captureParameters(*meta, visible, inclusive),
        HalPixelFormat::RGBA_8888, output->getWidth(), output->getHeight(), frames.destination());
    if (err != OK) ALOGE("mFrameCaptureLayer->capture failed err %d", err);
    return err;
}

void APipeREConverter::reset() {
    mFrameCaptureLayer.clear();
}

}  // namespace android
