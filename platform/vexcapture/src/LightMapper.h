// LightMapper: linear light of a wide or HDR source into what the picture can show.
#pragma once

#include <optional>

#include "ColorPlan.h"
#include "GamutMap.h"
#include "PlanarImage.h"
#include "SceneLight.h"
#include "ToneCurve.h"

namespace android::capture {

// Fits colours into the gamut of BT.709 and light into 0 to 1. Gamut first: it depends on the
// proportions of the components only and keeps the greatest. Light is then mapped by that greatest
// component, and all three are scaled alike, so that neither hue nor saturation changes.
//
// Threading: reentrant.
class LightMapper {
public:
    // Prepares for sources of a plan that needs mapping; does nothing when all is as it was.
    void prepare(const ColorPlan& plan, const SceneLight& scene);

    // Planes R, G and B of floats, BT.709 primaries, 1 being the picture's full scale. In place.
    void map(const PlanarImage& light) const;

private:
    Rgb mapPixel(Rgb color) const;

    zimg_color_primaries_e mPrimaries = ZIMG_PRIMARIES_BT709;
    std::optional<GamutMap> mGamut;
    SceneLight mScene;
    std::optional<ToneCurve> mCurve;
};

}  // namespace android::capture
