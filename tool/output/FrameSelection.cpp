// Which frames of a clip an output takes.
#include "output/FrameSelection.h"

namespace plexa {

bool FrameSelection::take(int64_t index) {
    if (mCount == 0) return index < mLimit;
    if (mExpectedFrames > 0) {
        const int64_t middle = (2 * int64_t{mTaken} + 1) * mExpectedFrames / (2 * int64_t{mCount});
        if (mTaken == mCount || index < middle) return false;
        ++mTaken;
        return true;
    }
    if (index % mStep != 0) return false;
    if (++mTaken == kThinningFactor * mCount) {
        mTaken = mCount;
        mStep *= kThinningFactor;
    }
    return true;
}

}  // namespace plexa
