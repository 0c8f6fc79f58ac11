// The straight line through measured points.
#pragma once

#include <utility>
#include <vector>

namespace plexa::bench {

struct LineFit {
    double slope;
    double intercept;
    double r2;              // 1 when all points lie on the line
    double worstDeviation;  // of a point, as a share of the line's value there
};

/// By least squares of the deviations as shares of the points' own values, so that small points
/// weigh as much as large ones. Needs two points at different places.
LineFit fitLine(const std::vector<std::pair<double, double>>& points);

}  // namespace plexa::bench
