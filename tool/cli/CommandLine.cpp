// What the command lines of all subcommands share.
#include "cli/CommandLine.h"

#include <host/TraceFile.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <utility>
#include <vector>

#include "base/Text.h"

namespace plexa {
namespace {

std::string checkSize(const std::string& value) {
    PictureSize size;
    return parseSize(value, &size).text();
}

// How many letters must be put in, left out or changed to make one word of the other.
size_t distance(const std::string& one, const std::string& other) {
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i);
        for (size_t j = 1; j <= other.size(); ++j) {
            const size_t changed = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

Status unknown(const std::string& word, const char* what, const std::vector<std::string>& known) {
    constexpr size_t kNear = 2;
    const auto nearer = [&word](const std::string& one, const std::string& other) {
        return distance(word, one) < distance(word, other);
    };
    const auto nearest = std::min_element(known.begin(), known.end(), nearer);
    const bool isNear = nearest != known.end() && distance(word, *nearest) <= kNear;
    return Status::error(text("%s: there is no such %s", word.c_str(), what) +
                         (isNear ? "; did you mean " + *nearest + "?" : ""));
}

std::vector<std::string> longOptionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

}  // namespace

void addInput(CLI::App* command, SharedOptions* options) {
    command
        ->add_option("INPUT", options->input.path,
                     "A video that FFmpeg's libraries decode, or - for standard input")
        ->required();
    command->footer(kExitStatuses);
}

void addSharedOptions(CLI::App* command, SharedOptions* options) {
    InputOptions& input = options->input;
    command
        ->add_option("--filters", input.filters,
                     "Filters of FFmpeg that decoded frames pass first, as for ffmpeg -vf")
        ->type_name("GRAPH");
    command->add_flag_callback(
        "--no-filters", [&input] { input.filtersOfOurOwn = false; },
        "Take frames as they are coded: no deinterlacing, no upright and square-pixel pictures");
    command->add_flag("--strict", input.strict,
                      "End at the first damage of the input instead of going on without it");
    command->add_flag("--json", options->json,
                      "Print the summary, or the error, as JSON on standard output");
    command
        ->add_option("--trace", options->trace,
                     "Write what becomes of each frame into a file for trace viewers and for "
                     "plexa trace, as JSON")
        ->type_name("FILE");
    command->add_flag("--quiet", options->quiet, "Print errors only");
    command->add_flag("--verbose", options->verbose, "Print the log of the library and of FFmpeg");
}

CLI::Option* addSizeOption(CLI::App* command, PictureSize* size, const std::string& purpose) {
    return command
        ->add_option_function<std::string>(
            "--size",
            [size](const std::string& value) {
                [[maybe_unused]] Status checked = parseSize(value, size);
            },
            text("WIDTHxHEIGHT of the %s, each %d to %d and at most %lld pixels in all; -1 for one "
                 "of them keeps the aspect",
                 purpose.c_str(), PictureSize::kMinSide, kMaxSide,
                 static_cast<long long>(kMaxPixels)))
        ->type_name("WxH")
        ->check(checkSize);
}

void addChainOption(CLI::App* command, std::string* chain) {
    command
        ->add_option(
            "--chain", *chain,
            "The stages, '!' between them: decompress, scale:WxH, or the path of a plug-in "
            "with its arguments, as ./libwatermark.so:text=demo,size=4; +base, +csc, "
            "+filter or +portrait at the end of one gives it that item generator")
        ->type_name("STAGES")
        ->required();
}

Status checkWords(const CLI::App& program, int argc, char** argv) {
    const CLI::App* command = &program;
    for (int i = 1; i < argc && std::string("--") != argv[i]; ++i) {
        const std::string word(argv[i]);
        if (command == &program && !word.starts_with("-")) {
            std::vector<std::string> names;
            for (const CLI::App* known : program.get_subcommands({})) {
                names.push_back(known->get_name());
                if (known->get_name() == word) command = known;
            }
            if (command == &program) return unknown(word, "command", names);
        } else if (word.starts_with("--")) {
            const std::string name = word.substr(0, word.find('='));
            const std::vector<std::string> names = longOptionsOf(*command);
            const bool isKnown = std::find(names.begin(), names.end(), name) != names.end();
            if (!isKnown) return unknown(name, "option", names);
        }
    }
    return {};
}

Status checkIsNotInput(const std::string& input, const std::string& output) {
    std::error_code missing;
    const bool isFile = std::filesystem::is_regular_file(output, missing);
    if (!isFile || !std::filesystem::equivalent(input, output, missing)) return {};
    return Status::error("OUTPUT: '" + output + "' is the input itself");
}

Status checkTrace(const SharedOptions& options, const std::string& output) {
    if (options.trace.empty()) return {};
    namespace fs = std::filesystem;
    std::error_code missing;
    for (const std::string& other : {options.input.path, output}) {
        const bool isSame =
            fs::equivalent(options.trace, other, missing) ||
            fs::weakly_canonical(options.trace, missing) == fs::weakly_canonical(other, missing);
        if (isSame) return Status::error("--trace: '" + options.trace + "' is taken");
    }
    return {};
}

Status startTrace(const std::string& path) {
    if (path.empty()) return {};
    const std::string error = android::host::startTraceFile(path);
    return error.empty() ? Status() : Status::error("--trace: " + path + ": " + error);
}

void finishTrace() {
    const android::host::TraceFileEnd end = android::host::finishTraceFile();
    if (!end.error.empty()) {
        std::fprintf(stderr, "plexa: %s: the trace ends early: %s\n", end.path.c_str(),
                     end.error.c_str());
    } else if (end.leftOut > 0) {
        std::fprintf(stderr, "plexa: %s: %llu events came too fast and are left out\n",
                     end.path.c_str(), static_cast<unsigned long long>(end.leftOut));
    }
}

Status print(const std::string& text, FILE* stream) {
    errno = 0;
    if (std::fputs(text.c_str(), stream) >= 0 && std::fflush(stream) == 0) return {};
    return Status::error(std::string("standard output: cannot be written: ") +
                         std::strerror(errno));
}

int fail(const Status& status, int exitStatus, bool json) {
    std::fprintf(stderr, "plexa: %s\n", status.text().c_str());
    if (json) [[maybe_unused]]
        Status ignored = print(toJson(status, exitStatus), stdout);
    return exitStatus;
}

int failUsage(const Status& status, const std::string& command, bool json) {
    const std::string help = "plexa " + command + (command.empty() ? "" : " ") + "--help";
    return fail(Status::error(status.text() + " (see " + help + ")"), kExitUsage, json);
}

}  // namespace plexa
