// The plexa command.
#include <fcntl.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "cli/ScaleCommand.h"
#include "cli/SnapshotCommand.h"

namespace {

// Without this, the first file that is opened would take the place of a closed standard stream.
void openStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= 2)
        fd = open("/dev/null", O_RDWR);
}

// A closed pipe or a file that grew too large is an error of the write, told like any other.
void ignoreWriteSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

int run(int argc, char** argv) {
    CLI::App program("Runs real video through chains of asynchronous stages.", "plexa");
    program.set_version_flag("--version", "plexa " PLEXA_VERSION);
    program.require_subcommand(0, 1);
    plexa::ScaleCommand scale(&program);
    plexa::SnapshotCommand snapshot(&program);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& helpOrVersion) {
        return program.exit(helpOrVersion);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "plexa: %s\n", error.what());
        return plexa::kExitUsage;
    }
    if (scale.isChosen()) return scale.run();
    if (snapshot.isChosen()) return snapshot.run();
    std::fprintf(stderr, "plexa: a command is missing: scale or snapshot (see plexa --help)\n");
    return plexa::kExitUsage;
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
