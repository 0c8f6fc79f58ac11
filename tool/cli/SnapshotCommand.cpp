// The command line of `plexa snapshot`.
#include "cli/SnapshotCommand.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>

#include "base/SignalWatch.h"
#include "base/Text.h"
#include "job/Dataspace.h"
#include "job/LibraryLog.h"
#include "media/AvMessages.h"
#include "media/FrameSink.h"

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
    return error == std::errc() && rest == end && std::isfinite(*seconds) && *seconds >= 0;
}

std::string checkSeconds(const std::string& value) {
    double seconds = 0;
    if (parseSeconds(value, &seconds)) return {};
    return text("'%s' is not a time: expected seconds, 0 or more", value.c_str());
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
    mCommand->add_option("INPUT", mRequest.input, kInputs)->required();
    mCommand
        ->add_option("OUTPUT", mRequest.output,
                     "The picture, .png. It appears under its name only when it is complete")
        ->required();
    addFrameOptions();
    addPictureOptions();
    mCommand->add_flag("--quiet", mQuiet, "Print errors only");
    mCommand->add_flag("--verbose", mVerbose, "Print the log of the library and of FFmpeg");
}

void SnapshotCommand::addFrameOptions() {
    mCommand
        ->add_option_function<std::string>(
            "--at", [this](const std::string& value) { parseSeconds(value, &mRequest.seconds); },
            "Take the first frame at or after this time, counted from the first frame; "
            "default 0")
        ->type_name("SECONDS")
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
    addSizeOption(mCommand, &mRequest.size, "picture; default that of the crop");
}

Status SnapshotCommand::checkOptions() const {
    if (!isPicture(mRequest.output)) {
        return Status::error("OUTPUT: '" + mRequest.output + "' is no .png");
    }
    return checkIsNotInput(mRequest.input, mRequest.output);
}

int SnapshotCommand::run() {
    Status status = checkOptions();
    if (!status.isOk()) return fail(status, kExitUsage);
    captureAvLog(mVerbose);
    captureLibraryLog(mVerbose);
    SnapshotJob job(mRequest);
    SignalWatch watch([&job] { job.cancel(); });
    SnapshotReport result;
    status = job.run(&result);
    if (!status.isOk()) return fail(status, kExitFailed);
    if (!mQuiet) report(result);
    return kExitDone;
}

void SnapshotCommand::report(const SnapshotReport& report) const {
    const VideoFormat& source = report.source;
    std::printf("%s (%dx%d, %d bits) at %.3f s -> %s (%dx%d)\n", mRequest.input.c_str(),
                source.width, source.height, source.bitDepth, report.seconds,
                mRequest.output.c_str(), report.size.width, report.size.height);
    std::printf("engine %s; %s\n", nameOf(report.engine), colorWords(source).c_str());
    for (const std::string& warning : report.warnings)
        std::printf("note: %s\n", warning.c_str());
}

}  // namespace plexa
