// GamutMap: colours of a wide gamut into that of BT.709, without a change of hue.
#pragma once

#include <zimg.h>

#include <array>
#include <cstddef>

namespace android::capture {

// Linear light. Components below 0 or above 1 are colours or light outside the picture's range.
struct Rgb {
    float r = 0;
    float g = 0;
    float b = 0;
};

// Takes BT.709 components, negative ones where a colour lies outside BT.709, and gives components
// of 0 or more. Colours up to 90 % of the way from neutral to the border stay; those beyond move
// inwards, the farther out the more, so that the border of the wide gamut meets the border of
// BT.709: the curve of the ACES reference gamut compression, with power 1, but one distance for
// all components. On its way a colour turns to where its CIELAB hue
// stays the same at the border. The greatest component does not change.
//
// Threading: reentrant; the const part thread-safe.
class GamutMap {
public:
    // ZIMG_PRIMARIES_BT2020 or ZIMG_PRIMARIES_ST432_1 (Display P3).
    explicit GamutMap(zimg_color_primaries_e wide);

    Rgb operator()(const Rgb& color) const;

private:
    // Border of the wide gamut in one direction from neutral.
    struct Border {
        float distance = 1;  // 1 is the border of BT.709
        float turn = 0;      // by how much its hue number changes
    };
    static constexpr size_t kHues = 384;  // a multiple of the 6 sectors

    Border borderAt(float hue) const;

    std::array<Border, kHues + 1> mBorders;  // by hue number; the last one is the first
};

}  // namespace android::capture
