// SceneLight: which light levels a scene holds, from what its stream says.
#pragma once

#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <optional>

namespace android::capture {

// Light levels in cd/m2. A default is that of a stream that says nothing: most are mastered on
// displays of 1000 cd/m2, which is also the nominal display of HLG (ITU-R BT.2100, table 5).
struct SceneLight {
    double contentPeak = 1000;    // brightest that the scene is said to hold
    double masteringPeak = 1000;  // brightest that its makers could see, at least contentPeak
    double masteringBlack = 0;    // darkest that they could see, below both

    friend bool operator==(const SceneLight&, const SceneLight&) = default;
};

// The HDR metadata of one frame, as far as there is any.
struct HdrInfo {
    std::optional<host::HdrStaticInfo> stream;
    std::optional<host::Hdr10PlusInfo> scene;
};

// The content peak is the scene's own, else MaxCLL, else the mastering display's.
// Threading: reentrant.
SceneLight sceneLightOf(const HdrInfo& info);

}  // namespace android::capture
