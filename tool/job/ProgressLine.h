// The line that shows how far a job is.
#pragma once

#include <chrono>
#include <cstdint>

namespace plexa {

/**
 * Frames, speed and time left in one line on standard error, rewritten a few times a second. It
 * prints nothing unless it is shown, and the destructor wipes it out.
 *
 * Threading: reentrant.
 */
class ProgressLine {
public:
    /** `expectedFrames` is 0 if nobody knows the length of the job. */
    ProgressLine(bool isShown, int64_t expectedFrames);
    ~ProgressLine() { wipe(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(int64_t frames);
    void wipe();

private:
    using Clock = std::chrono::steady_clock;

    const bool mIsShown;
    const int64_t mExpectedFrames;
    const Clock::time_point mStart = Clock::now();
    Clock::time_point mNext;
    bool mIsOnScreen = false;
};

}  // namespace plexa
