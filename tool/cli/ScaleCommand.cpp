// The command line of `plexa scale`.
#include "cli/Commands.h"

#include <unistd.h>

#include <array>
#include <limits>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr int kMaxSheetSide = 100;

constexpr const char* kScaleDescription =
    "Scales a video through a chain of stages: each decoded frame is compressed as by a "
    "device's decoder, decompressed, scaled, and written.";

constexpr const char* kOutputs =
    "By its extension: .mp4 or .mkv (8 bits as H.264, 10 bits as HEVC; even sizes; .mkv keeps "
    "times to a millisecond), .y4m or - for standard output (YUV4MPEG, exact samples), .png (the "
    "first frame, or --sheet; HDR tone mapped). It appears under its name only when it is "
    "complete";

// Not set if that is not what is there.
SheetLayout parseSheet(const std::string& value) {
    std::array<int, 2> sides{};
    const bool isPair = parseNumbers(value, 'x', sides);
    const auto isSide = [](int side) { return side >= 1 && side <= kMaxSheetSide; };
    return isPair && isSide(sides[0]) && isSide(sides[1]) ? SheetLayout{sides[0], sides[1]}
                                                          : SheetLayout{};
}

std::string checkSheet(const std::string& value) {
    if (parseSheet(value).isSet()) return {};
    return text("'%s' is not a layout: expected COLUMNSxROWS, each 1 to %d", value.c_str(),
                kMaxSheetSide);
}

}  // namespace

ScaleCommand::ScaleCommand(CLI::App* program)
    : mCommand(program->add_subcommand("scale", kScaleDescription)) {
    addInput(mCommand, &mOptions);
    mCommand->add_option("OUTPUT", mRequest.output, kOutputs)->required();
    addSizeOption(mCommand, &mRequest.size, "output")->required();
    mCommand
        ->add_option("--frames", mRequest.maxFrames, "Stop after N frames, 1 or more; default all")
        ->type_name("N")
        ->check(CLI::Range(int64_t{1}, std::numeric_limits<int64_t>::max(), "1 or more"));
    mCommand
        ->add_option_function<std::string>(
            "--sheet", [this](const std::string& value) { mRequest.sheet = parseSheet(value); },
            text("A contact sheet of frames spread over the clip, each side 1 to %d; for "
                 ".png",
                 kMaxSheetSide))
        ->type_name("COLSxROWS")
        ->check(checkSheet);
    mCommand->add_flag("--keep-times", mOptions.input.keepsTimes,
                       "Keep presentation times as they are; default they start at 0");
    addSharedOptions(mCommand, &mOptions);
}

Status ScaleCommand::checkOptions() const {
    const std::string& output = mRequest.output;
    const OutputKind kind = outputKindOf(output);
    if (kind == OutputKind::Unknown) {
        return Status::error("OUTPUT: '" + output +
                             "' has no extension that is known: .mp4, .mkv, .y4m, .png or -");
    }
    if (mRequest.sheet.isSet() && kind != OutputKind::Picture) {
        return Status::error("--sheet: needs a .png output, not '" + output + "'");
    }
    if (mOptions.json && output == "-") {
        return Status::error("--json: standard output is taken by the video");
    }
    return checkIsNotInput(mOptions.input.path, output);
}

int ScaleCommand::run() {
    Status status = checkOptions();
    if (status.isOk()) status = checkTrace(mOptions, mRequest.output);
    if (!status.isOk()) return failUsage(status, "scale", mOptions.json);
    mRequest.input = mOptions.input;
    mRequest.showsProgress = !mOptions.quiet && !mOptions.verbose && isatty(STDERR_FILENO) != 0;
    return runJob<ScaleJob, ScaleReport>(mRequest, mOptions,
                                         mRequest.output == "-" ? stderr : stdout);
}

}  // namespace plexa
