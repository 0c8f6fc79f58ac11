// SampleWindows: the curves, and weights in whole numbers.
#include "SampleWindows.h"

#include <algorithm>
#include <cmath>

namespace cl {
namespace {

double growing(double q) {
    return 1 - q;
}

double shrinking(double q) {
    return 1 + q * q * (2 * q - 3);
}

}  // namespace

SampleWindows::SampleWindows(uint32_t from, uint32_t to) {
    const double ratio = static_cast<double>(from) / to;
    const double reach = std::max(1.0, 0.75 * ratio);
    const auto curve = ratio > 1 ? shrinking : growing;
    mPlaces.reserve(size_t{to} + 1);
    std::vector<double> sums;  // of the weights so far
    for (uint32_t target = 0; target < to; ++target) {
        const double centre = (target + 0.5) * ratio - 0.5;
        const double first = std::max(std::floor(centre - reach) + 1, 0.0);
        const double last = std::min(std::ceil(centre + reach) - 1, from - 1.0);
        mPlaces.push_back({static_cast<size_t>(first), mWeights.size()});
        sums.assign(1, 0);
        for (double sample = first; sample <= last; ++sample)
            sums.push_back(sums.back() + curve(std::abs(sample - centre) / reach));
        // Differences of rounded sums, so that they add up.
        const auto rounded = [&](double sum) { return std::lround(sum / sums.back() * 65536); };
        for (size_t i = 1; i < sums.size(); ++i) {
            const long weight = rounded(sums[i]) - rounded(sums[i - 1]);
            mWeights.push_back(static_cast<uint16_t>(std::min<long>(weight, UINT16_MAX)));
        }
    }
    mPlaces.push_back({from, mWeights.size()});
}

}  // namespace cl
