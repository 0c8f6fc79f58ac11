// What a job has done, for people and for programs.
#include "job/JobReport.h"

#include <nlohmann/json.hpp>

#include "base/Text.h"

namespace plexa {
namespace {

std::string timesLine(const std::string& name, const DurationSummary& times) {
    return text("  %-22s %9.3f %9.3f %9.3f\n", name.c_str(), times.meanMs, times.p50Ms,
                times.p99Ms);
}

nlohmann::ordered_json timesJson(const DurationSummary& times) {
    return {{"mean_ms", times.meanMs}, {"p50_ms", times.p50Ms}, {"p99_ms", times.p99Ms}};
}

nlohmann::ordered_json sizeJson(const std::string& name, const VideoFormat& format) {
    return {{"name", name},
            {"width", format.width},
            {"height", format.height},
            {"bits", format.bitDepth}};
}

}  // namespace

std::string toText(const JobReport& report) {
    std::string result = text("%s (%dx%d, %d bits) -> %s (%dx%d)\n", report.input.c_str(),
                              report.source.width, report.source.height, report.source.bitDepth,
                              report.output.c_str(), report.result.width, report.result.height);
    result += text("%lld frames in %.2f s, %.1f frames/s\n", static_cast<long long>(report.frames),
                   report.seconds, report.framesPerSecond());
    result += text("  %-22s %9s %9s %9s  ms a frame\n", "", "mean", "p50", "p99");
    for (const StageTime& stage : report.stages)
        result += timesLine(stage.name, stage.work);
    result += timesLine("through the chain", report.chain);
    for (const std::string& warning : report.warnings)
        result += "note: " + warning + "\n";
    return result;
}

std::string toJson(const JobReport& report) {
    nlohmann::ordered_json stages = nlohmann::ordered_json::array();
    for (const StageTime& stage : report.stages) {
        nlohmann::ordered_json entry = {{"name", stage.name}};
        entry.update(timesJson(stage.work));
        stages.push_back(entry);
    }
    const nlohmann::ordered_json result = {
        {"input", sizeJson(report.input, report.source)},
        {"output", sizeJson(report.output, report.result)},
        {"frames", report.frames},
        {"seconds", report.seconds},
        {"frames_per_second", report.framesPerSecond()},
        {"stages", stages},
        {"chain", timesJson(report.chain)},
        {"notes", report.warnings},
    };
    // A file name need not be UTF-8.
    return result.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace plexa
