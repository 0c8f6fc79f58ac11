// Runs the benchmarks of a program interleaved and prints ratios of their throughputs.
#include "support/ratios.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "support/line_fit.h"

namespace plexa::bench {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kMicroseconds = 1e6;

// The baseline with the lowest median; null when one did not run, and 1 without any.
const std::vector<double>* slowest(const std::vector<std::string>& baselines, const Rates& rates) {
    static const std::vector<double> none = {1};
    const std::vector<double>* found = baselines.empty() ? &none : nullptr;
    for (const std::string& name : baselines) {
        const auto baseline = rates.find(name);
        if (baseline == rates.end()) return nullptr;
        if (found == nullptr || median(baseline->second) < median(*found))
            found = &baseline->second;
    }
    return found;
}

std::string wantedOf(const Ratio& ratio) {
    char text[32] = "";
    if (ratio.atLeast > 0) std::snprintf(text, sizeof(text), "at least %g", ratio.atLeast);
    if (ratio.atMost > 0) std::snprintf(text, sizeof(text), "at most %g", ratio.atMost);
    return text;
}

std::optional<Json> show(const Ratio& ratio, const Rates& rates) {
    const auto subject = rates.find(ratio.subject);
    const std::vector<double>* baseline = slowest(ratio.baselines, rates);
    if (subject == rates.end() || baseline == nullptr) return std::nullopt;
    const double middle = median(subject->second) / median(*baseline);
    const auto [least, most] = std::minmax_element(subject->second.begin(), subject->second.end());
    const auto [baseLeast, baseMost] = std::minmax_element(baseline->begin(), baseline->end());
    const double low = *least / *baseMost, high = *most / *baseLeast;
    const bool isMet = middle >= ratio.atLeast && (ratio.atMost == 0 || middle <= ratio.atMost);
    const std::string wanted = wantedOf(ratio);
    std::printf("%-54s %8.3f  (%.3f to %.3f over %zu runs)%s%s\n", ratio.title.c_str(), middle, low,
                high, subject->second.size(), wanted.empty() ? "" : "  wanted: ", wanted.c_str());
    return Json{{"title", ratio.title}, {"wanted", wanted}, {"met", isMet},
                {"median", middle},     {"low", low},       {"high", high}};
}

std::vector<std::pair<double, double>> timesOf(const Growth& growth, const Rates& rates) {
    std::vector<std::pair<double, double>> points;
    const std::string prefix = growth.function + "/";
    for (const auto& [name, each] : rates) {
        if (name.starts_with(prefix))
            points.emplace_back(std::stod(name.substr(prefix.size())),
                                kMicroseconds / median(each));
    }
    return points;
}

std::optional<Json> show(const Growth& growth, const Rates& rates) {
    const auto points = timesOf(growth, rates);
    if (points.size() < 2) return std::nullopt;
    const LineFit fit = fitLine(points);
    std::printf("%-54s %8.3f us each + %.3f us  (R2 %.4f, worst point %.1f %% off)\n",
                growth.title.c_str(), fit.slope, fit.intercept, fit.r2, 100 * fit.worstDeviation);
    return Json{{"title", growth.title}, {"function", growth.function},
                {"slope_us", fit.slope}, {"intercept_us", fit.intercept},
                {"r2", fit.r2},          {"worst_deviation", fit.worstDeviation}};
}

template <typename Line>
Json showAll(const std::vector<Line>& lines, const Rates& rates) {
    Json shown = Json::array();
    for (const Line& line : lines) {
        if (auto json = show(line, rates)) shown.push_back(*json);
    }
    return shown;
}

// Takes --json=FILE out of the arguments; empty without one.
std::string takeJsonFile(std::vector<char*>& arguments) {
    constexpr std::string_view kOption = "--json=";
    const auto option = std::find_if(arguments.begin(), arguments.end(), [&](const char* argument) {
        return std::string_view(argument).starts_with(kOption);
    });
    if (option == arguments.end()) return {};
    const std::string file = *option + kOption.size();
    arguments.erase(option);
    return file;
}

}  // namespace

Json showRatios(const std::vector<Ratio>& ratios, const Rates& rates) {
    return showAll(ratios, rates);
}

int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios,
                  const std::vector<Growth>& growths) {
    std::vector<char*> arguments = {argv[0]};
    char repetitions[] = "--benchmark_repetitions=5";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(repetitions);
    arguments.push_back(interleaving);
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    const std::string file = takeJsonFile(arguments);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
    RateKeeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    std::puts("");
    Json json;
    json["ratios"] = showRatios(ratios, keeper.rates());
    json["growths"] = showAll(growths, keeper.rates());
    json["rates"] = keeper.rates();
    if (!file.empty()) std::ofstream(file) << json.dump(1) << '\n';
    return keeper.hasFailed() ? 1 : 0;
}

}  // namespace plexa::bench
