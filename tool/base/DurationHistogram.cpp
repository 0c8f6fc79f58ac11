// Mean and percentiles of many durations in fixed memory.
#include "base/DurationHistogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace plexa {
namespace {

constexpr double kNsPerMs = 1e6;

}  // namespace

// The first kSteps buckets are one nanosecond wide; each further group of kSteps buckets covers one
// more power of two.
size_t DurationHistogram::bucketOf(uint64_t nanoseconds) {
    const int shift = std::max(0, static_cast<int>(std::bit_width(nanoseconds)) - (kStepBits + 1));
    return static_cast<size_t>(shift) * kSteps + static_cast<size_t>(nanoseconds >> shift);
}

double DurationHistogram::middleOf(size_t bucket) {
    if (bucket < 2 * kSteps) return static_cast<double>(bucket);
    const size_t shift = bucket / kSteps - 1;
    const double width = std::ldexp(1.0, static_cast<int>(shift));
    return (static_cast<double>(bucket - shift * kSteps) + 0.5) * width;
}

void DurationHistogram::add(std::chrono::nanoseconds duration) {
    const auto nanoseconds = static_cast<uint64_t>(std::max<int64_t>(duration.count(), 0));
    ++mCounts[bucketOf(nanoseconds)];
    ++mCount;
    mSumNs += static_cast<double>(nanoseconds);
}

double DurationHistogram::percentileMs(double fraction) const {
    const auto rank = static_cast<int64_t>(std::ceil(fraction * static_cast<double>(mCount)));
    int64_t counted = 0;
    for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
        counted += mCounts[bucket];
        if (counted >= rank) return middleOf(bucket) / kNsPerMs;
    }
    return 0;
}

DurationSummary DurationHistogram::summary() const {
    if (mCount == 0) return {};
    return {mCount, mSumNs / static_cast<double>(mCount) / kNsPerMs, percentileMs(0.50),
            percentileMs(0.99)};
}

}  // namespace plexa
