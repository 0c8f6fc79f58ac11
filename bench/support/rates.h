// Each benchmark's items a second, run by run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace plexa::bench {

/// By "function", "function/argument" or "function/threads:n".
using Rates = std::map<std::string, std::vector<double>>;

double median(std::vector<double> values);

/// Prints the usual table and keeps the rates: items_per_second where a benchmark says it, or else
/// iterations a second
/// of the time that the benchmark goes by.
///
/// Threading: reentrant.
class RateKeeper : public benchmark::ConsoleReporter {
public:
    RateKeeper();

    void ReportRuns(const std::vector<Run>& runs) override;

    const Rates& rates() const { return mRates; }
    bool hasFailed() const { return mHasFailed; }

private:
    Rates mRates;
    bool mHasFailed = false;
};

}  // namespace plexa::bench
