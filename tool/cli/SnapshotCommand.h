// The command line of `plexa snapshot`.
#pragma once

#include "cli/CommandLine.h"
#include "job/SnapshotJob.h"

namespace plexa {

/**
 * Declares the options of `plexa snapshot`, checks them against each other and runs the job.
 *
 * Threading: reentrant.
 */
class SnapshotCommand {
public:
    /** Adds the subcommand to `program`, which is borrowed. */
    explicit SnapshotCommand(CLI::App* program);

    bool isChosen() const { return mCommand->parsed(); }

    /** After the command line is parsed. Prints the summary or one error line; the exit status. */
    int run();

private:
    void addFrameOptions();
    void addPictureOptions();
    Status checkOptions() const;

    CLI::App* mCommand;
    SharedOptions mOptions;
    SnapshotRequest mRequest;
};

}  // namespace plexa
