// Scaling with libyuv called directly, on the caller's thread.
#pragma once

#include <vector>

#include "support/frames.h"

namespace plexa::bench {

/// Box filter for both depths.
///
/// Threading: reentrant.
class LibyuvScale {
public:
    LibyuvScale(const Depth& depth, Size from, Size to);

    bool scale(const Planes& in, const Planes& out);

private:
    bool scaleNv12(const Planes& in, const Planes& out) const;
    void scaleP010(const Planes& in, const Planes& out);

    bool mIsNv12;
    Size mFrom;
    Size mTo;
    // Chroma of the two sizes, taken apart.
    std::vector<uint16_t> mCb, mCr, mScaledCb, mScaledCr;
};

}  // namespace plexa::bench
