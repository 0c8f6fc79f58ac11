// The command line of `plexa scale`.
#include "cli/ScaleCommand.h"

#include <unistd.h>

#include <cstdio>
#include <limits>

#include "base/SignalWatch.h"
#include "base/Text.h"
#include "job/LibraryLog.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

constexpr int kMaxSheetSide = 100;

constexpr const char* kScaleDescription =
    "Scales a video through a chain of stages: each decoded frame is compressed as by a "
    "device's decoder, decompressed, scaled, and written.";

constexpr const char* kOutputs =
    "By its extension: .mp4 or .mkv (8 bits as H.264, 10 bits as HEVC; even sizes; .mkv keeps "
    "times to a millisecond), .y4m or - "
    "for standard output (YUV4MPEG, exact samples), .png (the first frame, or --sheet). It "
    "appears under its name only when it is complete";

std::string checkSheet(const std::string& value) {
    SheetLayout sheet;
    const bool isPair = parsePair(value, &sheet.columns, &sheet.rows);
    if (isPair && sheet.columns >= 1 && sheet.columns <= kMaxSheetSide && sheet.rows >= 1 &&
        sheet.rows <= kMaxSheetSide) {
        return {};
    }
    return text("'%s' is not a layout: expected COLUMNSxROWS, each 1 to %d", value.c_str(),
                kMaxSheetSide);
}

}  // namespace

ScaleCommand::ScaleCommand(CLI::App* program)
    : mCommand(program->add_subcommand("scale", kScaleDescription)) {
    mCommand->add_option("INPUT", mRequest.input, kInputs)->required();
    mCommand->add_option("OUTPUT", mRequest.output, kOutputs)->required();
    addSizeOption(mCommand, &mRequest.size, "output")->required();
    mCommand
        ->add_option("--frames", mRequest.maxFrames, "Stop after N frames, 1 or more; default all")
        ->type_name("N")
        ->check(CLI::Range(int64_t{1}, std::numeric_limits<int64_t>::max(), "1 or more"));
    mCommand
        ->add_option_function<std::string>(
            "--sheet",
            [this](const std::string& value) {
                parsePair(value, &mRequest.sheet.columns, &mRequest.sheet.rows);
            },
            text("A contact sheet of frames spread over the clip, each side 1 to %d; for "
                 ".png",
                 kMaxSheetSide))
        ->type_name("COLSxROWS")
        ->check(checkSheet);
    mCommand->add_flag("--json", mJson, "Print the summary as JSON on standard output");
    mCommand->add_flag("--quiet", mQuiet, "Print errors only");
    mCommand->add_flag("--verbose", mVerbose, "Print the log of the library and of FFmpeg");
}

Status ScaleCommand::checkOptions() const {
    const std::string& output = mRequest.output;
    if (!isKnownOutput(output)) {
        return Status::error("OUTPUT: '" + output +
                             "' has no extension that is known: .mp4, .mkv, .y4m, .png or -");
    }
    if (mRequest.sheet.isSet() && !isPicture(output)) {
        return Status::error("--sheet: needs a .png output, not '" + output + "'");
    }
    if (mJson && output == "-") {
        return Status::error("--json: standard output is taken by the video");
    }
    return checkIsNotInput(mRequest.input, output);
}

int ScaleCommand::run() {
    Status status = checkOptions();
    if (!status.isOk()) return fail(status, kExitUsage);
    captureAvLog(mVerbose);
    captureLibraryLog(mVerbose);
    mRequest.showsProgress = !mQuiet && !mVerbose && isatty(STDERR_FILENO) != 0;
    ScaleJob job(mRequest);
    SignalWatch watch([&job] { job.cancel(); });
    JobReport result;
    status = job.run(&result);
    if (!status.isOk()) return fail(status, kExitFailed);
    report(result);
    return kExitDone;
}

void ScaleCommand::report(const JobReport& report) const {
    if (mJson) {
        std::fputs(toJson(report).c_str(), stdout);
    } else if (!mQuiet) {
        std::fputs(toText(report).c_str(), mRequest.output == "-" ? stderr : stdout);
    }
}

}  // namespace plexa
