// The command line of `plexa scale`.
#pragma once

#include "cli/CommandLine.h"
#include "job/ScaleJob.h"

namespace plexa {

/**
 * Declares the options of `plexa scale`, checks them against each other and runs the job.
 *
 * Threading: reentrant.
 */
class ScaleCommand {
public:
    /** Adds the subcommand to `program`, which is borrowed. */
    explicit ScaleCommand(CLI::App* program);

    bool isChosen() const { return mCommand->parsed(); }

    /** After the command line is parsed. Prints the summary or one error line; the exit status. */
    int run();

private:
    Status checkOptions() const;

    CLI::App* mCommand;
    SharedOptions mOptions;
    ScaleRequest mRequest;
};

}  // namespace plexa
