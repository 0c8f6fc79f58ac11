// Mapping row by row.
#include "LightMapper.h"

#include <algorithm>

namespace android::capture {

void LightMapper::prepare(const ColorPlan& plan, const SceneLight& scene) {
    if (plan.primaries != mPrimaries) {
        mGamut.reset();
        if (plan.isWide()) mGamut.emplace(plan.primaries);
        mPrimaries = plan.primaries;
    }
    if (plan.light() == Light::Sdr) {
        mCurve.reset();
    } else if (!mCurve || scene != mScene) {
        mCurve.emplace(scene);
        mScene = scene;
    }
}

void LightMapper::map(const PlanarImage& light) const {
    const PlanarImage::Shape& shape = light.shape();
    for (size_t y = 0; y < shape.height; ++y) {
        float* r = light.plane(0).row<float>(y);
        float* g = light.plane(1).row<float>(y);
        float* b = light.plane(2).row<float>(y);
        for (size_t x = 0; x < shape.width; ++x) {
            const Rgb mapped = mapPixel({r[x], g[x], b[x]});
            r[x] = mapped.r;
            g[x] = mapped.g;
            b[x] = mapped.b;
        }
    }
}

Rgb LightMapper::mapPixel(Rgb color) const {
    if (mGamut) color = (*mGamut)(color);
    const float greatest = std::max({color.r, color.g, color.b});
    if (greatest <= 0) return {};
    const float wanted = mCurve ? (*mCurve)(greatest) : std::min(greatest, 1.0F);
    const float scale = wanted / greatest;
    return {color.r * scale, color.g * scale, color.b * scale};
}

}  // namespace android::capture
