// Choosing among a stream's light levels.
#include "SceneLight.h"

#include <algorithm>

namespace android::capture {

SceneLight sceneLightOf(const HdrInfo& info) {
    constexpr double kNone = 0;
    constexpr double kMost = 10000;  // the end of PQ
    const host::HdrStaticInfo stream = info.stream.value_or(host::HdrStaticInfo());
    const host::Hdr10PlusInfo scene = info.scene.value_or(host::Hdr10PlusInfo());
    const double scenePeak = *std::max_element(scene.maxScl.begin(), scene.maxScl.end());

    SceneLight light;
    for (const double peak : {stream.maxLuminance, stream.maxContentLight, scenePeak}) {
        if (peak > kNone) light.contentPeak = std::min(peak, kMost);
    }
    const double mastering = stream.maxLuminance > kNone ? stream.maxLuminance : light.contentPeak;
    light.masteringPeak = std::clamp(mastering, light.contentPeak, kMost);
    if (stream.minLuminance < light.contentPeak) light.masteringBlack = stream.minLuminance;
    return light;
}

}  // namespace android::capture
