// The command line of `plexa snapshot`.
#include "cli/Commands.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <charconv>
#include <cmath>
#include <optional>

#include "base/Text.h"
#include "output/FrameSink.h"

namespace plexa {
namespace {

constexpr const char* kSnapshotDescription =
    "Makes a PNG picture of one frame, converted to RGB by the GPU or, tone mapped, by the "
    "frame-capture library.";

std::optional<Engine> engineOf(const std::string& name) {
    for (const Engine engine : {Engine::Auto, Engine::Gl, Engine::Capture}) {
        if (name == nameOf(engine)) return engine;
    }
    return std::nullopt;
}

bool parseSeconds(const std::string& value, double* seconds) {
    const char* end = value.data() + value.size();
    auto [rest, error] = std::from_chars(value.data(), end, *seconds);
    bool isTime = error == std::errc() && rest == end && std::isfinite(*seconds);
    if (!isTime && value.find(':') != std::string::npos) {
        int64_t microseconds = 0;
        isTime = av_parse_time(&microseconds, value.c_str(), 1) >= 0;
        *seconds = static_cast<double>(microseconds) / AV_TIME_BASE;
    }
    return isTime && *seconds >= 0;
}

std::string checkSeconds(const std::string& value) {
    double seconds = 0;
    if (parseSeconds(value, &seconds)) return {};
    return text("'%s' is not a time: expected seconds or hh:mm:ss, 0 or more", value.c_str());
}

std::string checkEngine(const std::string& value) {
    if (engineOf(value).has_value()) return {};
    return text("'%s' is not an engine: expected auto, gl or capture", value.c_str());
}

std::string checkCrop(const std::string& value) {
    CropArea crop;
    return parseCrop(value, &crop).text();
}

}  // namespace

SnapshotCommand::SnapshotCommand(CLI::App* program)
    : mCommand(program->add_subcommand("snapshot", kSnapshotDescription)) {
    addInput(mCommand, &mOptions);
    mCommand
        ->add_option("OUTPUT", mRequest.output,
                     "The picture, .png. It appears under its name only when it is complete")
        ->required();
    addFrameOptions();
    addPictureOptions();
    addSharedOptions(mCommand, &mOptions);
}

void SnapshotCommand::addFrameOptions() {
    mCommand
        ->add_option_function<std::string>(
            "--at", [this](const std::string& value) { parseSeconds(value, &mRequest.seconds); },
            "Take the first frame at or after this time, in seconds or as hh:mm:ss, counted from "
            "the first frame; default 0")
        ->type_name("TIME")
        ->check(checkSeconds);
    mCommand
        ->add_option_function<std::string>(
            "--crop",
            [this](const std::string& value) {
                [[maybe_unused]] Status checked = parseCrop(value, &mRequest.crop.emplace());
            },
            "The part of the frame to show, in pixels; default all that players show")
        ->type_name("X,Y,W,H")
        ->check(checkCrop);
}

void SnapshotCommand::addPictureOptions() {
    mCommand
        ->add_option_function<std::string>(
            "--engine",
            [this](const std::string& value) {
                mRequest.engine = engineOf(value).value_or(Engine::Auto);
            },
            "gl: SDR of BT.601 and BT.709 with limited range; capture: everything, HDR tone "
            "mapped; "
            "auto, the default: gl for what it shows right, capture for the rest and where gl "
            "cannot "
            "start")
        ->type_name("auto|gl|capture")
        ->check(checkEngine);
    addSizeOption(mCommand, &mRequest.size, "picture; default that of the crop, in square pixels");
}

Status SnapshotCommand::checkOptions() const {
    if (outputKindOf(mRequest.output) != OutputKind::Picture) {
        return Status::error("OUTPUT: '" + mRequest.output + "' is no .png");
    }
    return checkIsNotInput(mOptions.input.path, mRequest.output);
}

int SnapshotCommand::run() {
    Status status = checkOptions();
    if (status.isOk()) status = checkTrace(mOptions, mRequest.output);
    if (!status.isOk()) return failUsage(status, "snapshot", mOptions.json);
    mRequest.input = mOptions.input;
    return runJob<SnapshotJob, SnapshotReport>(mRequest, mOptions, stdout);
}

}  // namespace plexa
