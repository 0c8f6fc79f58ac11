// Mean and percentiles of many durations in fixed memory.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace plexa {

/** What a histogram says of its durations, in milliseconds; all zero if there were none. */
struct DurationSummary {
    int64_t count = 0;
    double meanMs = 0;
    double p50Ms = 0;
    double p99Ms = 0;
};

/**
 * Counts durations in buckets that are 1/64 of a power of two wide: the mean is exact, a percentile
 * is off by less than one per cent, and a job of any length takes the same memory.
 *
 * Threading: reentrant.
 */
class DurationHistogram {
public:
    /** Adds one duration; a negative one counts as zero. */
    void add(std::chrono::nanoseconds duration);

    DurationSummary summary() const;

private:
    static constexpr size_t kSteps = 64;
    static constexpr size_t kBuckets = 64 * kSteps;

    static size_t bucketOf(double nanoseconds);
    static double middleOf(size_t bucket);
    double percentileMs(double fraction) const;

    std::array<int64_t, kBuckets> mCounts{};
    int64_t mCount = 0;
    double mSumNs = 0;
};

}  // namespace plexa
