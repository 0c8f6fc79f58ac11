// The command lines of the subcommands.
#pragma once

#include <kit/Exercise.h>

#include <string>

#include "cli/CommandLine.h"
#include "job/RunJob.h"
#include "job/SnapshotJob.h"

namespace plexa {

/**
 * Declares the options of `plexa run` or its short form `plexa scale`, checks them against each
 * other and runs the job.
 *
 * Threading: reentrant, like the other commands.
 */
class VideoCommand {
public:
    /** Whether the stages are the user's, or decompress and scale. */
    enum class Form { Run, Scale };

    /** Adds the subcommand to `program`, which is borrowed. */
    VideoCommand(CLI::App* program, Form form);

    bool isChosen() const { return mCommand->parsed(); }

    /** After the command line is parsed. Prints the summary or one error line; the exit status. */
    int run();

private:
    void addOutputOptions();
    Status checkOptions() const;
    Status chooseStages();
    Status checkStages() const;

    const Form mForm;
    CLI::App* mCommand;
    SharedOptions mOptions;
    RunRequest mRequest;
    PictureSize mSize;   // of the short form
    std::string mChain;  // of the long one
};

/** The same for `plexa snapshot`. */
class SnapshotCommand {
public:
    explicit SnapshotCommand(CLI::App* program);
    bool isChosen() const { return mCommand->parsed(); }
    int run();

private:
    void addFrameOptions();
    void addPictureOptions();
    Status checkOptions() const;

    CLI::App* mCommand;
    SharedOptions mOptions;
    SnapshotRequest mRequest;
};

/** The same for `plexa trace`, which draws what the others trace. */
class TraceCommand {
public:
    explicit TraceCommand(CLI::App* program);
    bool isChosen() const { return mCommand->parsed(); }
    int run();

private:
    Status draw() const;

    CLI::App* mCommand;
    std::string mInput;
    std::string mOutput;
};

/** The same for `plexa exercise`. */
class ExerciseCommand {
public:
    explicit ExerciseCommand(CLI::App* program);
    bool isChosen() const { return mCommand->parsed(); }
    int run();

private:
    int visitAllOrders(const std::vector<kit::StageSpec>& stages) const;

    CLI::App* mCommand;
    std::string mChain;
    bool mAllOrders = false;
    kit::ExerciseOptions mOptions;
};

}  // namespace plexa
