// ToneCurve: from the light of an HDR signal to that of an SDR picture.
#pragma once

#include <array>
#include <cstddef>

#include "SceneLight.h"

namespace android::capture {

// What the picture's full scale stands for, cd/m2. The reference white of HDR, 203 cd/m2 (ITU-R
// BT.2408), lands at 77 % of its light when nothing brighter asks for room: 89 % of the code range.
constexpr double kFullScaleNits = 203 / 0.77;

// The EETF of Report ITU-R BT.2390 (display mapping of PQ), from the scene's light to a picture of
// kFullScaleNits and black 0, as a table. Light is relative to kFullScaleNits: 1 is full scale.
//
// A stream's content peak is a promise that some streams break. Where it is below the mastering
// peak, the last few codes are kept for what lies between the two.
//
// Threading: reentrant; the const part thread-safe.
class ToneCurve {
public:
    explicit ToneCurve(const SceneLight& scene);

    // Rises with light, from 0 at 0 to 1 at the mastering peak and beyond.
    float operator()(float light) const;

private:
    // Nodes lie at equal steps within each power of 2, so that a node's number can be read from
    // a float's exponent and first fraction bits.
    static constexpr int kLowestExponent = -16;  // far below the first code of the picture
    static constexpr int kHighestExponent = 6;   // above 10000 cd/m2, the end of PQ
    static constexpr int kStepBits = 6;
    static constexpr size_t kNodes =
        (static_cast<size_t>(kHighestExponent - kLowestExponent) << kStepBits) + 1;

    std::array<float, kNodes> mLight;
};

}  // namespace android::capture
