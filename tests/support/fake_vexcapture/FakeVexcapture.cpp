// The recording frame-capture library.
#include "FakeVexcapture.h"

#include <ZelFrameCaptureLayer.h>

namespace plexa::fake_vexcapture {

State& state() {
    static State state;
    return state;
}

}  // namespace plexa::fake_vexcapture

namespace android {

using plexa::fake_vexcapture::state;

// The header's private part names it.
class capture::Renderer {};

ZelFrameCaptureLayer::ZelFrameCaptureLayer() {
    ++state().objects;
}

ZelFrameCaptureLayer::~ZelFrameCaptureLayer() {
    --state().objects;
}

status_t ZelFrameCaptureLayer::init(int layers, CaptureMode mode) {
    state().lastInit = {.layers = layers, .mode = mode};
    return state().initStatus;
}

status_t ZelFrameCaptureLayer::capture(const sp<GraphicBuffer>& source, const Rect& crop,
                                       const sp<AMessage>& parameters,
                                       hardware::graphics::common::V1_2::PixelFormat format,
                                       int width, int height,
                                       const sp<GraphicBuffer>& destination) {
    state().lastCapture = {.source = source,
                           .crop = crop,
                           .parameters = parameters,
                           .format = static_cast<int32_t>(format),
                           .width = width,
                           .height = height,
                           .destination = destination};
    return state().captureStatus;
}

}  // namespace android
