// PaintedClip: frames of a person before a busy background, and where the person is.
#pragma once

#include "Picture.h"

namespace android {

/// A clip of any size and length. `phase` runs from 0 at its start to 1 at its end.
///
/// Threading: thread-safe; there is no state.
class PaintedClip {
public:
    PaintedClip() = delete;

    static void paintFrame(double phase, const Picture& frame);
    /// 255 on the person, 0 behind, falling off towards the person's edge.
    static void paintMask(double phase, const Picture& mask);
};

}  // namespace android
