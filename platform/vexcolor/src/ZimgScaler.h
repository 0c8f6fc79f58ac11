// ZimgScaler: scales planes by any ratio with zimg.
#pragma once

#include <ZimgUse.h>

#include <cstddef>
#include <memory>

#include "PlaneScaler.h"

namespace cl {

// Bilinear, widened over the source where it shrinks. Chroma is taken apart for zimg, which knows
// only planes of one component, and 10-bit samples are scaled as the 16-bit ones that they are
// stored as and rounded afterwards.
// Threading: reentrant.
class ZimgScaler final : public PlaneScaler {
public:
    // Null and exceptions as of Scaler::make.
    static std::unique_ptr<ZimgScaler> make(FrameSize from, FrameSize to, PlaneKind kind);

    bool scale(const Plane& from, const Plane& to) override;

private:
    // A plane of one component in memory of its own.
    struct Component {
        android::host::ZimgMemory memory;
        size_t stride = 0;

        bool allocate(FrameSize size, uint32_t bytesPerSample);
    };

    explicit ZimgScaler(PlaneKind kind) : mKind(kind) {}
    bool buildGraph(FrameSize from, FrameSize to);
    bool allocate(FrameSize from, FrameSize to);
    bool process(const uint8_t* from, size_t fromStride, uint8_t* to, size_t toStride);
    bool scaleLuma(const Plane& from, const Plane& to);
    bool scaleChroma(const Plane& from, const Plane& to);
    void takeApart(const Plane& from);
    void putTogether(const Plane& to);

    const PlaneKind mKind;
    android::host::ZimgFilters mGraph;
    android::host::ZimgMemory mScratch;
    Component mFrom[2];  // Cb and Cr
    Component mTo[2];    // Cb and Cr, or luma of which zimg would write more than its width
};

}  // namespace cl
