// Each benchmark's items a second, run by run.
#include "support/rates.h"

#include <algorithm>
#include <cstddef>

#include <unistd.h>

namespace plexa::bench {

namespace {

std::string key(const benchmark::BenchmarkName& name) {
    std::string result = name.function_name;
    for (const std::string& part : {name.args, name.threads}) {
        if (!part.empty()) result += "/" + part;
    }
    return result;
}

double rateOf(const benchmark::BenchmarkReporter::Run& run) {
    const auto rate = run.counters.find("items_per_second");
    if (rate != run.counters.end()) return rate->second;
    const bool isCpuTime = run.run_name.time_type.empty();
    return static_cast<double>(run.iterations) /
           (isCpuTime ? run.cpu_accumulated_time : run.real_accumulated_time);
}

}  // namespace

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

RateKeeper::RateKeeper() : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_Defaults : OO_None) {}

void RateKeeper::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        mHasFailed = mHasFailed || run.error_occurred;
        if (run.run_type == Run::RT_Iteration && !run.error_occurred)
            mRates[key(run.run_name)].push_back(rateOf(run));
    }
}

}  // namespace plexa::bench
