// Checking what a capture is asked for.
#define LOG_TAG "ZelFrameCaptureLayer"

#include "ZelFrameCaptureLayer.h"

#include <utils/Log.h>

#include <cinttypes>
#include <optional>

#include "Renderer.h"

namespace android {
namespace {

using capture::Request;
using HalPixelFormat = hardware::graphics::common::V1_2::PixelFormat;

constexpr int kLayers = 1;

bool isCropInside(const Rect& inclusive, const GraphicBuffer& source) {
    const Rect& r = inclusive;
    if (r.left >= 0 && r.top >= 0 && r.left <= r.right && r.top <= r.bottom &&
        r.right < source.getBounds().right && r.bottom < source.getBounds().bottom) {
        return true;
    }
    ALOGE("crop (%d, %d) to (%d, %d) is empty or not inside %ux%u", r.left, r.top, r.right,
          r.bottom, source.getWidth(), source.getHeight());
    return false;
}

bool isPictureInside(int width, int height, HalPixelFormat format,
                     const GraphicBuffer& destination) {
    if (format != HalPixelFormat::RGBA_8888 ||
        destination.getPixelFormat() != PIXEL_FORMAT_RGBA_8888) {
        ALOGE("picture format %#x in a buffer of %#x, only RGBA_8888 is given",
              static_cast<unsigned>(format), static_cast<unsigned>(destination.getPixelFormat()));
        return false;
    }
    const Rect bounds = destination.getBounds();
    if (width >= 1 && height >= 1 && width <= bounds.right && height <= bounds.bottom) return true;
    ALOGE("picture of %dx%d in a buffer of %dx%d", width, height, bounds.right, bounds.bottom);
    return false;
}

// Reads the blob under `name`, if there is one. False when it is there and wrong.
template <typename Info>
bool readBlob(const AMessage& parameters, const char* name, std::optional<Info>* info) {
    sp<ABuffer> blob;
    if (!parameters.findBuffer(name, &blob)) return true;
    *info = Info::fromBlob(blob);
    return info->has_value();
}

bool readParameters(const AMessage& parameters, Request* request) {
    parameters.findInt32("android._dataspace", &request->dataspace);
    return readBlob(parameters, "hdr-static-info", &request->hdr.stream) &&
           readBlob(parameters, "hdr10-plus-info", &request->hdr.scene);
}

}  // namespace

ZelFrameCaptureLayer::ZelFrameCaptureLayer() = default;
ZelFrameCaptureLayer::~ZelFrameCaptureLayer() = default;

status_t ZelFrameCaptureLayer::init(int layers, CaptureMode mode) {
    mRenderer.reset();
    if (layers != kLayers || mode != kCaptureStill) {
        ALOGE("init with %d layers in mode %d, expected %d in mode %d", layers, mode, kLayers,
              kCaptureStill);
        return BAD_VALUE;
    }
    mRenderer = std::make_unique<capture::Renderer>();
    return OK;
}

status_t ZelFrameCaptureLayer::capture(const sp<GraphicBuffer>& source, const Rect& crop,
                                       const sp<AMessage>& parameters, HalPixelFormat format,
                                       int width, int height,
                                       const sp<GraphicBuffer>& destination) {
    if (mRenderer == nullptr) {
        ALOGE("capture before a successful init");
        return NO_INIT;
    }
    if (source == nullptr || parameters == nullptr || destination == nullptr) {
        ALOGE("capture without %s", source == nullptr       ? "a source"
                                    : parameters == nullptr ? "parameters"
                                                            : "a destination");
        return BAD_VALUE;
    }
    if (!isCropInside(crop, *source) || !isPictureInside(width, height, format, *destination)) {
        return BAD_VALUE;
    }
    Request request = {.source = source,
                       .crop = Rect(crop.left, crop.top, crop.right + 1, crop.bottom + 1),
                       .width = width,
                       .height = height,
                       .destination = destination};
    if (!readParameters(*parameters, &request)) return BAD_VALUE;
    return mRenderer->render(request);
}

}  // namespace android
