// The command lines of `plexa run` and `plexa scale`.
#include "cli/Commands.h"

#include <unistd.h>

#include <array>
#include <limits>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr int kMaxSheetSide = 100;

constexpr const char* kRunDescription =
    "Runs a video through a chain of stages, built in and plug-ins: each decoded frame is queued "
    "into the first one, compressed as by a device's decoder if it takes that, and what comes out "
    "of the last one is written.";

constexpr const char* kScaleDescription =
    "Scales a video: plexa run with the stages decompress and scale.";

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

VideoCommand::VideoCommand(CLI::App* program, Form form)
    : mForm(form),
      mCommand(form == Form::Run ? program->add_subcommand("run", kRunDescription)
                                 : program->add_subcommand("scale", kScaleDescription)) {
    addInput(mCommand, &mOptions);
    mCommand->add_option("OUTPUT", mRequest.output, kOutputs)->required();
    if (mForm == Form::Run) {
        addChainOption(mCommand, &mChain);
    } else {
        addSizeOption(mCommand, &mSize, "output")->required();
    }
    addOutputOptions();
    addSharedOptions(mCommand, &mOptions);
}

void VideoCommand::addOutputOptions() {
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
}

Status VideoCommand::checkOptions() const {
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

Status VideoCommand::chooseStages() {
    if (mForm == Form::Scale) {
        mRequest.chain = {{"decompress", "", ""},
                          {"scale", text("%dx%d", mSize.width, mSize.height), ""}};
        return {};
    }
    std::string error;
    mRequest.chain = kit::parseChain(mChain, &error);
    return error.empty() ? checkStages() : Status::error("--chain: " + error);
}

Status VideoCommand::checkStages() const {
    for (const kit::StageWord& word : mRequest.chain) {
        PictureSize size;
        const Status status = word.name == "scale" ? parseSize(word.arguments, &size) : Status();
        if (!status.isOk()) return Status::error("--chain: scale:" + status.text());
    }
    return {};
}

int VideoCommand::run() {
    Status status = checkOptions();
    if (status.isOk()) status = checkTrace(mOptions, mRequest.output);
    if (status.isOk()) status = chooseStages();
    if (!status.isOk()) return failUsage(status, mCommand->get_name(), mOptions.json);
    mRequest.input = mOptions.input;
    mRequest.showsProgress = !mOptions.quiet && !mOptions.verbose && isatty(STDERR_FILENO) != 0;
    return runJob<RunJob, RunReport>(mRequest, mOptions, mRequest.output == "-" ? stderr : stdout);
}

}  // namespace plexa
