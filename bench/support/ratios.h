// Runs the benchmarks of a program interleaved and prints ratios of their throughputs.
#pragma once

#include <string>
#include <vector>

namespace plexa::bench {

/// One line of the table: the median items a second of `subject`, over that of the slowest of
/// `baselines`. A line whose benchmarks did not run is left out.
struct Ratio {
    std::string title;
    std::string subject;
    std::vector<std::string> baselines;
};

/// A main(): each benchmark runs five times, in random order, so that a noisy moment hits all
/// alike. The usual --benchmark_ options hold; they may set other numbers. Returns the exit status.
int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace plexa::bench
