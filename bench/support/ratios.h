// Runs the benchmarks of a program interleaved and prints ratios of their throughputs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/rates.h"

namespace plexa::bench {

/// One line of the table: the median items a second of `subject` over that of the slowest of
/// `baselines`, and the range of all their runs over one another; without baselines the figure
/// itself. A line whose benchmarks did not run is left out.
struct Ratio {
    std::string title;
    std::string subject;
    std::vector<std::string> baselines;
    // What is wanted; 0 for no bound.
    double atLeast = 0;
    double atMost = 0;
};

/// Prints the lines; returns title, wanted, met, median, low and high of each.
nlohmann::ordered_json showRatios(const std::vector<Ratio>& ratios, const Rates& rates);

/// Another line: how the median time an item of `function/n` grows with n.
struct Growth {
    std::string title;
    std::string function;
};

/// A main(): each benchmark runs five times, in random order, so that a noisy moment hits all
/// alike. The usual --benchmark_ options hold; they may set other numbers. --json=FILE writes the
/// tables and each run's items a second to a file too. Returns the exit status, which is not that
/// of missed bounds.
int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios,
                  const std::vector<Growth>& growths = {});

}  // namespace plexa::bench
