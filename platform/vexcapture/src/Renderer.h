// Renderer: from a source buffer to the picture.
#pragma once

#include <ui/GraphicBuffer.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <optional>

#include "ColorPlan.h"
#include "FrameLoader.h"
#include "LightMapper.h"
#include "LinearSource.h"
#include "PlanarImage.h"
#include "SceneLight.h"
#include "ZimgGraph.h"

namespace android::capture {

// One capture, its arguments found sound.
struct Request {
    sp<GraphicBuffer> source;
    Rect crop;  // not empty, within the source; right and bottom exclusive
    int32_t dataspace = 0;
    HdrInfo hdr = {};
    int32_t width = 0;  // of the picture, at least 1, within the destination
    int32_t height = 0;
    sp<GraphicBuffer> destination;  // RGBA_8888
};

// Keeps filters and intermediate pictures from one capture to the next of the same kind.
// Threading: reentrant.
class Renderer {
public:
    // OK, or a status of ZelFrameCaptureLayer::capture, logged.
    status_t render(const Request& request);

private:
    // What the filters depend on.
    struct Setup {
        FrameShape frame;
        ColorPlan plan;
        int32_t width = 0;
        int32_t height = 0;

        friend bool operator==(const Setup&, const Setup&) = default;
    };

    static std::optional<Setup> setupFor(const Request& request, const host::BufferLayout& layout);
    status_t prepare(const Setup& setup);
    status_t allocateImages(const Setup& setup);
    status_t buildGraphs(const Setup& setup);
    status_t makePicture(const Request& request, const Setup& setup);

    LinearSource mLinearSource;
    std::optional<Setup> mSetup;  // what images and graphs are ready for
    PlanarImage mFrame;           // samples as they come
    PlanarImage mLight;           // linear light as floats, where a plan needs mapping
    PlanarImage mPicture;         // R, G and B of 8 bits
    ZimgGraph mDecode;            // from frame to light, or to the picture where that is enough
    ZimgGraph mEncode;            // from light to the picture
    LightMapper mLightMapper;
};

}  // namespace android::capture
