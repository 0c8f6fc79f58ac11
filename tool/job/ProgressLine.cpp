// The line that shows how far a job is.
#include "job/ProgressLine.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr std::chrono::milliseconds kInterval{200};
constexpr const char* kWipe = "\r\033[K";  // to the start of the line, then clear it

std::string lineOf(int64_t frames, int64_t expected, double seconds) {
    const double speed = static_cast<double>(frames) / seconds;
    if (expected < frames || speed <= 0) {
        return text("%lld frames, %.1f frames/s", static_cast<long long>(frames), speed);
    }
    const auto left =
        static_cast<long long>(std::ceil(static_cast<double>(expected - frames) / speed));
    return text("%lld/%lld frames, %.1f frames/s, %lld:%02lld left", static_cast<long long>(frames),
                static_cast<long long>(expected), speed, left / 60, left % 60);
}

}  // namespace

ProgressLine::ProgressLine(bool isShown, int64_t expectedFrames)
    : mIsShown(isShown), mExpectedFrames(expectedFrames), mNext(mStart + kInterval) {}

void ProgressLine::show(int64_t frames) {
    const Clock::time_point now = Clock::now();
    if (!mIsShown || now < mNext) return;
    mNext = now + kInterval;
    const double seconds = std::chrono::duration<double>(now - mStart).count();
    std::fprintf(stderr, "%s%s", kWipe, lineOf(frames, mExpectedFrames, seconds).c_str());
    std::fflush(stderr);
    mIsOnScreen = true;
}

void ProgressLine::wipe() {
    if (!mIsOnScreen) return;
    std::fputs(kWipe, stderr);
    std::fflush(stderr);
    mIsOnScreen = false;
}

}  // namespace plexa
