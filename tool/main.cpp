// The plexa command.
#include <fcntl.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <sstream>

#include "cli/Commands.h"

namespace {

// Without this, the first file that is opened would take the place of a closed standard stream.
// What is closed stays unusable: it cannot be written, or, standard input, not read.
void openStandardStreams() {
    for (int fd = 0; fd <= 2; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY);
    }
}

// A closed pipe or a file that grew too large is an error of the write, told like any other.
void ignoreWriteSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

int printHelp(const CLI::App& program, const CLI::Success& helpOrVersion) {
    std::ostringstream shown;
    program.exit(helpOrVersion, shown, shown);
    const plexa::Status status = plexa::print(shown.str(), stdout);
    return status.isOk() ? plexa::kExitDone : plexa::fail(status, plexa::kExitFailed, false);
}

int run(int argc, char** argv) {
    using plexa::Status;
    CLI::App program("Runs real video through chains of asynchronous stages.", "plexa");
    program.set_version_flag("--version", "plexa " PLEXA_VERSION);
    program.require_subcommand(0, 1);
    program.footer(plexa::kExitStatuses);
    plexa::VideoCommand videoRun(&program, plexa::VideoCommand::Form::Run);
    plexa::VideoCommand scale(&program, plexa::VideoCommand::Form::Scale);
    plexa::SnapshotCommand snapshot(&program);
    plexa::TraceCommand trace(&program);
    plexa::ExerciseCommand exercise(&program);
    const auto isJson = [](const std::string& word) { return word == "--json"; };
    const bool json = std::any_of(argv, argv + argc, isJson);
    const Status words = plexa::checkWords(program, argc, argv);
    std::string command;
    for (const CLI::App* known : program.get_subcommands({})) {
        if (argc > 1 && known->get_name() == argv[1]) command = argv[1];
    }
    if (!words.isOk()) return plexa::failUsage(words, command, json);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& helpOrVersion) {
        return printHelp(program, helpOrVersion);
    } catch (const CLI::ParseError& error) {
        return plexa::failUsage(Status::error(error.what()), command, json);
    }
    if (videoRun.isChosen()) return videoRun.run();
    if (scale.isChosen()) return scale.run();
    if (snapshot.isChosen()) return snapshot.run();
    if (trace.isChosen()) return trace.run();
    if (exercise.isChosen()) return exercise.run();
    return plexa::failUsage(
        Status::error("a command is missing: run, scale, snapshot, trace or exercise"), "", json);
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    ignoreWriteSignals();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        // The parser and the standard library throw when there is no memory.
        std::fprintf(stderr, "plexa: %s\n", error.what());
        return plexa::kExitFailed;
    }
}
