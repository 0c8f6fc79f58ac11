// The straight line through measured points.
#include "support/line_fit.h"

#include <algorithm>
#include <cmath>

namespace plexa::bench {

namespace {

struct Sums {
    double w = 0, x = 0, y = 0, xx = 0, xy = 0;
};

// Weights make squared deviations squared shares.
Sums weightedSums(const std::vector<std::pair<double, double>>& points) {
    Sums sums;
    for (const auto& [x, y] : points) {
        const double w = 1 / (y * y);
        sums.w += w;
        sums.x += w * x;
        sums.y += w * y;
        sums.xx += w * x * x;
        sums.xy += w * x * y;
    }
    return sums;
}

}  // namespace

LineFit fitLine(const std::vector<std::pair<double, double>>& points) {
    const Sums sums = weightedSums(points);
    LineFit fit{};
    fit.slope = (sums.w * sums.xy - sums.x * sums.y) / (sums.w * sums.xx - sums.x * sums.x);
    fit.intercept = (sums.y - fit.slope * sums.x) / sums.w;
    const double mean = sums.y / sums.w;
    double left = 0, all = 0;
    for (const auto& [x, y] : points) {
        const double line = fit.intercept + fit.slope * x;
        left += (y - line) * (y - line) / (y * y);
        all += (y - mean) * (y - mean) / (y * y);
        fit.worstDeviation = std::max(fit.worstDeviation, std::abs(y / line - 1));
    }
    fit.r2 = 1 - left / all;
    return fit;
}

}  // namespace plexa::bench
