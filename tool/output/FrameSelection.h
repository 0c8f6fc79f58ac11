// Which frames of a clip an output takes.
#pragma once

#include <cstdint>
#include <limits>

namespace plexa {

/**
 * Every frame, the first one, or a number of frames spread evenly over a clip.
 *
 * If the length of the clip is known, those are the middles of as many equal parts of it. If not,
 * every frame is taken at first; whenever twice the number are there, every second one is given up,
 * and from then on only every second, fourth, eighth… frame is taken. The sink that keeps the
 * frames gives up the same ones (see kThinningFactor).
 *
 * Threading: reentrant.
 */
class FrameSelection {
public:
    static constexpr int kThinningFactor = 2;

    static FrameSelection all() { return FrameSelection(kUnlimited, 0, 0); }
    static FrameSelection first() { return FrameSelection(1, 0, 0); }

    /**
     * `count` frames of a clip of `expectedFrames`, or, if that is 0 for not known, at least
     * `count` and fewer than twice as many; fewer of a clip that is shorter than it.
     */
    static FrameSelection spread(int count, int64_t expectedFrames) {
        return FrameSelection(kUnlimited, count, expectedFrames > count ? expectedFrames : 0);
    }

    /** Whether the frame of this index, counted from 0, is taken. Ask for each in turn, once. */
    bool take(int64_t index);

    /** Whether no frame from this index on is taken. */
    bool isCompleteAt(int64_t index) const {
        return index >= mLimit || (mExpectedFrames > 0 && mTaken == mCount);
    }

private:
    static constexpr int64_t kUnlimited = std::numeric_limits<int64_t>::max();

    FrameSelection(int64_t limit, int count, int64_t expectedFrames)
        : mLimit(limit), mCount(count), mExpectedFrames(expectedFrames) {}

    int64_t mLimit;
    int mCount;  // 0: the frames are not spread
    int64_t mExpectedFrames;
    int mTaken = 0;
    int64_t mStep = 1;
};

}  // namespace plexa
