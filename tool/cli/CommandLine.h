// What the command lines of all subcommands share.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "base/Interruption.h"
#include "job/Geometry.h"
#include "job/JobReport.h"
#include "media/AvMessages.h"
#include "media/LibraryLog.h"

namespace plexa {

/** The program's exit statuses; a job that is interrupted dies of the signal. */
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

/** The same for the help. */
inline constexpr const char* kExitStatuses =
    "Exit status: 0 the output is complete, 1 the job failed and left nothing under the output's "
    "name, 2 the command line is wrong. A job that is interrupted cleans up and dies of the "
    "signal.";

/** How to read the input and what to print. */
struct SharedOptions {
    InputOptions input;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    std::string trace;  // a file; empty: none
};

/** Adds INPUT. Threading: reentrant, like all functions here. */
void addInput(CLI::App* command, SharedOptions* options);

/** Adds what is not special to one subcommand; `options` is borrowed. */
void addSharedOptions(CLI::App* command, SharedOptions* options);

/** Adds --size, which fills `size`. */
CLI::Option* addSizeOption(CLI::App* command, PictureSize* size, const std::string& purpose);

/** Adds --chain, which fills `chain`. */
void addChainOption(CLI::App* command, std::string* chain);

/** An error that suggests the nearest word if a command or a long option does not exist. */
Status checkWords(const CLI::App& program, int argc, char** argv);

/** An error of usage if `output` names the file that `input` does. */
Status checkIsNotInput(const std::string& input, const std::string& output);

/** Prints a text; an error if it is lost, for standard output is full or closed. */
Status print(const std::string& text, FILE* stream);

/** Prints the one line of a failure, and with `json` its JSON; returns `exitStatus`. */
int fail(const Status& status, int exitStatus, bool json);

/** As fail(), of a command line; says how to get help. `command` is the subcommand or empty. */
int failUsage(const Status& status, const std::string& command, bool json);

/** An error of usage if --trace names the input or `output`. */
Status checkTrace(const SharedOptions& options, const std::string& output);

/** Starts the trace that is asked for, if one is. */
Status startTrace(const std::string& path);
/** Completes the trace that is being written, if one is, and says on standard error what it lacks.
 */
void finishTrace();

/** Runs a job to its end and prints its report to `stream`; the exit status. */
template <typename Job, typename Report, typename Request>
int runJob(const Request& request, const SharedOptions& options, FILE* stream) {
    cleanUpOnSignals();
    captureAvLog(options.verbose);
    captureLibraryLog(options.verbose);
    Report report;
    Status status = startTrace(options.trace);
    if (status.isOk()) status = Job(request).run(&report);
    finishTrace();
    if (status.isOk() && (options.json || !options.quiet)) {
        status = print(options.json ? toJson(report) : toText(report), stream);
    }
    return status.isOk() ? kExitDone : fail(status, kExitFailed, options.json);
}

}  // namespace plexa
