// ZelFrameCaptureLayer: renders a video frame into a picture, HDR tone mapped to SDR.
#pragma once

#include <android/hardware/graphics/common/1.2/types.h>
#include <media/stagefright/foundation/AMessage.h>
#include <ui/GraphicBuffer.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <memory>

namespace android {

namespace capture {
class Renderer;
}

// Crops a frame, scales it and gives it as an sRGB picture. docs/hdr.md tells how colours go.
//
// Sources: every YCbCr format that the allocator knows, 8 and 10 bits, compressed or not, and
// RGBA 8888. The first capture of a geometry and colour sets filters up, the following ones of the
// same use them again.
//
// Every refusal is logged with its cause and leaves the destination as it was.
//
// Threading: reentrant; one thread at a time uses an object.
class __attribute__((visibility("default"))) ZelFrameCaptureLayer : public RefBase {
public:
    // How captured frames follow one another.
    enum CaptureMode : int32_t {
        kCaptureStill = 0,  // each for itself
    };

    ZelFrameCaptureLayer();

    ZelFrameCaptureLayer(const ZelFrameCaptureLayer&) = delete;
    ZelFrameCaptureLayer& operator=(const ZelFrameCaptureLayer&) = delete;

    // Has to succeed once before capture; a later call starts afresh. OK, or BAD_VALUE for another
    // number of layers than the 1 there is, or another mode.
    status_t init(int layers, CaptureMode mode);

    // Renders `crop` of `source`, right and bottom edge inclusive, into the upper left `width` by
    // `height` pixels of `destination`, opaque. `format` and the destination's are RGBA_8888.
    // `parameters` may carry
    //
    //   "android._dataspace"  int32   the source's colours, an android_dataspace_t; 0 or a missing
    //                                 key, and each part that is unspecified: see docs/hdr.md
    //   "hdr-static-info"     buffer  <host/HdrStaticInfo.h>; used with PQ
    //   "hdr10-plus-info"     buffer  <host/Hdr10PlusInfo.h>; used with PQ
    //
    // and "crop", "width" and "height", which repeat what the arguments say and are not read.
    //
    //   NO_INIT        init has not succeeded
    //   BAD_VALUE      a null argument, a size below 1, a crop that is empty or reaches outside
    //                  the source, a destination that is too small, a pixel format or dataspace
    //                  that is not supported, an HDR blob that is cut short or of another kind
    //   NO_MEMORY      no memory for intermediate pictures
    //   UNKNOWN_ERROR  the libraries that do the pixel work refused
    status_t capture(const sp<GraphicBuffer>& source, const Rect& crop,
                     const sp<AMessage>& parameters,
                     hardware::graphics::common::V1_2::PixelFormat format, int width, int height,
                     const sp<GraphicBuffer>& destination);

protected:
    ~ZelFrameCaptureLayer() override;

private:
    std::unique_ptr<capture::Renderer> mRenderer;  // null until init has succeeded
};

}  // namespace android
