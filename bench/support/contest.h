// Subjects measured in processes of their own, those of several programs beside each other.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/ratios.h"

namespace plexa::bench {

/// What one run of a subject says: a figure by its name, such as "cpu" or "latency".
using Figures = std::map<std::string, double>;

struct Subject {
    std::string row;
    std::string contender;
    std::function<Figures(std::chrono::duration<double> time)> run;
};

/// A main(). Every subject runs in each round, in a process of its own; the contenders of a row
/// follow each other in random order, so that a noisy moment hits all alike. Options:
///
///     --rounds=N --seconds=S    of each run
///     --quick                   one round
///     --only=TEXT               rows whose name contains it; may be repeated
///     --against=NAME=COMMAND    runs what `contender` names with that command too, which is this
///                               program in another build: may be repeated
///     --json=FILE               writes every run's figures and the ratios to a file
///
/// The ratios go by "row figure by contender". Returns the exit status, which is not that of missed
/// bounds.
int runContest(int argc, char** argv, const std::vector<Subject>& subjects,
               const std::string& contender, const std::vector<Ratio>& ratios);

}  // namespace plexa::bench
