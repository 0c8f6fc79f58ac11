// What a job has done, for people and for programs.
#include "job/JobReport.h"

#include <nlohmann/json.hpp>

#include "base/Text.h"
#include "media/AvMessages.h"
#include "output/Dataspace.h"
#include "output/FrameSink.h"

namespace plexa {
namespace {

using Json = nlohmann::ordered_json;

std::string timesLine(const std::string& name, const DurationSummary& times) {
    return text("  %-22s %9.3f %9.3f %9.3f\n", name.c_str(), times.meanMs, times.p50Ms,
                times.p99Ms);
}

Json timesJson(const DurationSummary& times) {
    return {{"mean_ms", times.meanMs}, {"p50_ms", times.p50Ms}, {"p99_ms", times.p99Ms}};
}

Json jobJson(const JobReport& report) {
    const VideoFormat& source = report.source;
    const Damage& damage = report.damage;
    return {{"input",
             {{"name", report.input},
              {"width", source.width},
              {"height", source.height},
              {"bits", source.bitDepth}}},
            {"output",
             {{"name", report.output},
              {"width", report.size.width},
              {"height", report.size.height},
              {"bits", outputKindOf(report.output) == OutputKind::Picture ? 8 : source.bitDepth}}},
            {"damage",
             {{"skipped_packets", damage.skippedPackets},
              {"patched_frames", damage.patchedFrames},
              {"decoder_errors", decoderErrors().count},
              {"mended_times", damage.mendedTimes},
              {"cut_short", !damage.ending.empty()}}},
            {"notes", report.notes}};
}

// A file name need not be UTF-8.
std::string print(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string sizesText(const JobReport& report, const std::string& when) {
    return text("%s (%dx%d, %d bits)%s -> %s (%dx%d)\n", report.input.c_str(), report.source.width,
                report.source.height, report.source.bitDepth, when.c_str(), report.output.c_str(),
                report.size.width, report.size.height);
}

std::string notesText(const JobReport& report) {
    std::string result;
    for (const std::string& note : report.notes)
        result += "note: " + note + "\n";
    return result;
}

}  // namespace

std::string toText(const RunReport& report) {
    std::string result = sizesText(report, "");
    result += text("%lld frames in %.2f s, %.1f frames/s\n", static_cast<long long>(report.frames),
                   report.seconds, report.framesPerSecond());
    result += text("  %-22s %9s %9s %9s  ms a frame\n", "", "mean", "p50", "p99");
    for (const StageTime& stage : report.stages)
        result += timesLine(stage.name, stage.work);
    return result + timesLine("through the chain", report.chain) + notesText(report);
}

std::string toText(const SnapshotReport& report) {
    return sizesText(report, text(" at %.3f s", report.seconds)) + "engine " +
           nameOf(report.engine) + "; " + colorWords(report.source) + "\n" + notesText(report);
}

std::string toJson(const RunReport& report) {
    Json json = jobJson(report);
    json["frames"] = report.frames;
    json["seconds"] = report.seconds;
    json["frames_per_second"] = report.framesPerSecond();
    json["stages"] = Json::array();
    for (const StageTime& stage : report.stages) {
        json["stages"].push_back({{"name", stage.name}});
        json["stages"].back().update(timesJson(stage.work));
    }
    json["chain"] = timesJson(report.chain);
    return print(json);
}

std::string toJson(const SnapshotReport& report) {
    Json json = jobJson(report);
    const CropArea& crop = report.crop;
    json["seconds"] = report.seconds;
    json["engine"] = nameOf(report.engine);
    json["crop"] = {crop.x, crop.y, crop.width, crop.height};
    json["colors"] = colorWords(report.source);
    return print(json);
}

std::string toJson(const Status& failure, int exitStatus) {
    return print({{"error", failure.text()}, {"exit_status", exitStatus}});
}

}  // namespace plexa
