// Runs the benchmarks of a program interleaved and prints ratios of their throughputs.
#include "support/ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>

namespace plexa::bench {

namespace {

using Rates = std::map<std::string, std::vector<double>>;

// "function", or "function/argument".
std::string key(const benchmark::BenchmarkName& name) {
    return name.args.empty() ? name.function_name : name.function_name + "/" + name.args;
}

// Prints the usual table and keeps each run's items a second.
class RateKeeper : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto rate = run.counters.find("items_per_second");
            if (run.run_type != Run::RT_Iteration || rate == run.counters.end()) continue;
            rates[key(run.run_name)].push_back(rate->second);
        }
    }

    Rates rates;
};

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void printRatio(const Ratio& ratio, const Rates& rates) {
    const auto subject = rates.find(ratio.subject);
    if (subject == rates.end()) return;
    double slowest = 0;
    for (const std::string& name : ratio.baselines) {
        const auto baseline = rates.find(name);
        if (baseline == rates.end()) return;
        const double rate = median(baseline->second);
        slowest = slowest == 0 ? rate : std::min(slowest, rate);
    }
    std::vector<double> each;
    for (double rate : subject->second)
        each.push_back(rate / slowest);
    const auto [low, high] = std::minmax_element(each.begin(), each.end());
    std::printf("%-44s %6.3f  (%.3f to %.3f over %zu runs)\n", ratio.title.c_str(), median(each),
                *low, *high, each.size());
}

}  // namespace

int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios) {
    std::vector<char*> arguments = {argv[0]};
    char repetitions[] = "--benchmark_repetitions=5";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(repetitions);
    arguments.push_back(interleaving);
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
    RateKeeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    std::puts("");
    for (const Ratio& ratio : ratios)
        printRatio(ratio, keeper.rates);
    return 0;
}

}  // namespace plexa::bench
