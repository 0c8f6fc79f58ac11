// PlaneScaler: scales one plane of a linear frame.
#pragma once

#include <cstdint>
#include <memory>

#include "FrameFormat.h"
#include "Plane.h"

namespace cl {

// What a plane consists of.
struct PlaneKind {
    uint32_t bytesPerSample;  // 1, or 2 for 10 bits at the top of 16
    uint32_t samplesPerUnit;  // 1, or 2 for interleaved chroma
};

// Made for one pair of sizes. Centres of planes lie upon each other, and all depths and ratios have
// the filter that SampleWindows says. Threading: reentrant.
class PlaneScaler {
public:
    virtual ~PlaneScaler() = default;

    // Two planes of the sizes and the kind that the scaler was made for. False when the kernel
    // refused them.
    virtual bool scale(const Plane& from, const Plane& to) = 0;

    // The fastest kernel of that filter.
    static std::unique_ptr<PlaneScaler> make(FrameSize from, FrameSize to, PlaneKind kind);
};

}  // namespace cl
