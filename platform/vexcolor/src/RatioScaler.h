// RatioScaler: scales planes by any ratio.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "PlaneScaler.h"
#include "SampleWindows.h"

namespace cl {

// Down the columns, then along the rows, which are columns while libyuv has the picture turned; in
// between samples have 16 bits. A band of rows at a time, so that all of it stays in the cache.
// Threading: reentrant.
class RatioScaler final : public PlaneScaler {
public:
    RatioScaler(FrameSize from, FrameSize to, PlaneKind kind);

    bool scale(const Plane& from, const Plane& to) override;

private:
    template <typename Format>
    bool scaleBand(const Plane& from, const Plane& to, uint32_t y, uint32_t rows);

    const PlaneKind mKind;
    const SampleWindows mAcross;
    const SampleWindows mDown;
    std::vector<uint16_t> mBand;        // as wide as the source
    std::vector<uint16_t> mTurnedBand;  // its columns as rows
    std::vector<uint16_t> mScaledBand;  // those of the target; half used by samples of 8 bits
};

}  // namespace cl
