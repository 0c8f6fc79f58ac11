// The command line of `plexa exercise`.
#include "cli/Commands.h"

#include <kit/AllOrders.h>
#include <kit/StageLibrary.h>

#include <limits>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr const char* kExerciseDescription =
    "Finds which promise stages break: lets them live in random chains, with pools, arrival "
    "orders, losses, pauses, flushes, releases, inits, errors and ends as they come.";

constexpr const char* kExerciseStatuses =
    "Exit status: 0 no promise was broken, 1 one was, or a plug-in cannot be loaded, 2 the command "
    "line is wrong.";

}  // namespace

ExerciseCommand::ExerciseCommand(CLI::App* program)
    : mCommand(program->add_subcommand("exercise", kExerciseDescription)) {
    mCommand->footer(kExerciseStatuses);
    addChainOption(mCommand, &mChain);
    mCommand
        ->add_option("--lives", mOptions.lives,
                     text("How many lives, 1 or more; default %llu",
                          static_cast<unsigned long long>(mOptions.lives)))
        ->type_name("N")
        ->check(CLI::Range(uint64_t{1}, std::numeric_limits<uint64_t>::max(), "1 or more"));
    mCommand
        ->add_option("--seed", mOptions.seed,
                     "Random seed of the first life, default 1; each further life has the "
                     "next number")
        ->type_name("S");
    mCommand->add_flag("--threads", mOptions.threads,
                       "Live on the loopers' own threads; default one thread, in an order that the "
                       "seed brings back");
    mCommand->add_flag("--faults", mOptions.faults,
                       "Memory that cannot be had, mapped or locked and threads that do not start");
    mCommand->add_flag("--all-orders", mAllOrders,
                       "Instead of random lives, three frames and one flush, release or pause in "
                       "every order in which the loops can take their messages");
    mCommand->add_flag("--verbose", mOptions.logs, "Print the log of the library");
}

int ExerciseCommand::run() {
    std::string error;
    const std::vector<kit::StageWord> words = kit::parseChain(mChain, &error);
    if (!error.empty()) return failUsage(Status::error("--chain: " + error), "exercise", false);
    std::vector<kit::StageSpec> stages;
    for (const kit::StageWord& word : words) {
        stages.push_back(kit::findStage(word, &error));
        if (!error.empty()) return fail(Status::error("--chain: " + error), kExitFailed, false);
    }
    if (mAllOrders) return visitAllOrders(stages);
    const kit::ExerciseReport report = kit::exercise(stages, mOptions);
    const Status status = print(kit::toText(report, mOptions), stdout);
    if (!status.isOk()) return fail(status, kExitFailed, false);
    return report.found ? kExitFailed : kExitDone;
}

int ExerciseCommand::visitAllOrders(const std::vector<kit::StageSpec>& stages) const {
    for (const kit::Call call : {kit::Call::Flush, kit::Call::Release, kit::Call::Pause}) {
        const kit::AllOrdersReport report = kit::visitAllOrders(stages, call);
        const Status status = print(kit::toText(report, call), stdout);
        if (!status.isOk()) return fail(status, kExitFailed, false);
        if (report.found) return kExitFailed;
    }
    return kExitDone;
}

}  // namespace plexa
