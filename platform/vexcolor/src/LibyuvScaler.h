// LibyuvScaler: copies, halves and doubles planes with libyuv.
#pragma once

#include "PlaneScaler.h"

namespace cl {

// At these ratios libyuv's kernels do what RatioScaler does, and nothing is faster. At others
// libyuv shifts the picture by up to half a sample, and its average of white is not white.
// Threading: reentrant.
class LibyuvScaler final : public PlaneScaler {
public:
    static bool isMadeFor(FrameSize from, FrameSize to, PlaneKind kind);

    explicit LibyuvScaler(PlaneKind kind) : mKind(kind) {}

    bool scale(const Plane& from, const Plane& to) override;

private:
    const PlaneKind mKind;
};

}  // namespace cl
