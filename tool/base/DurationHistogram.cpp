// Mean and percentiles of many durations in fixed memory.
#include "base/DurationHistogram.h"

#include <algorithm>
#include <cmath>

namespace plexa {
namespace {

constexpr double kNsPerMs = 1e6;

}  // namespace

// Each bucket covers 1 / kSteps of a power of two; what is shorter than a nanosecond is in the
// first.
size_t DurationHistogram::bucketOf(double nanoseconds) {
    return static_cast<size_t>(std::log2(std::max(nanoseconds, 1.0)) * kSteps);
}

double DurationHistogram::middleOf(size_t bucket) {
    return std::exp2((static_cast<double>(bucket) + 0.5) / kSteps);
}

void DurationHistogram::add(std::chrono::nanoseconds duration) {
    const auto nanoseconds = static_cast<double>(std::max<int64_t>(duration.count(), 0));
    ++mCounts[bucketOf(nanoseconds)];
    ++mCount;
    mSumNs += nanoseconds;
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
