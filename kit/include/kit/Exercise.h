// Exercise: lives of random chains around stages, to find which promise they break.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "kit/StageSpec.h"

namespace plexa::kit {

struct ExerciseOptions {
    uint64_t lives = 1000;
    uint64_t seed = 1;  ///< of the first life; the next ones count on
    /// On the loopers' own threads, not on the scheduler: such a life is not shrunk, and its seed
    /// need not bring the same order back.
    bool threads = false;
    /// Memory that cannot be had, mapped or locked, and threads that do not start.
    bool faults = false;
    /// Print the library's log, which tells of what clients do wrong on purpose.
    bool logs = false;
    /// A message that is handled for longer than this hangs; so does a life on threads that takes
    /// twenty times as long.
    std::chrono::milliseconds deadline{2000};
};

struct ExerciseReport {
    bool found = false;   ///< a broken promise; then the rest tells of that life
    std::string promise;  ///< its id in docs/reliability.md
    std::string what;     ///< how it was broken
    std::string chain;    ///< the stages of the life
    std::string story;    ///< what its client did, shrunk
    std::string state;    ///< what the chain says of itself at that moment
    uint64_t seed = 0;    ///< brings it back, as the first of one life
    uint64_t lives = 0;   ///< begun, with the one that failed
    uint64_t frames = 0;  ///< that came out, in all lives
    std::string note;     ///< what could not be looked at, empty if nothing
};

/// Lets the stages live in chains of random neighbours, pools, arrival orders, losses, pauses,
/// flushes, releases, inits, errors and ends, alone, first, in the middle and last, until a promise
/// of docs/reliability.md is broken. Frames are 64x32 in the first known format that the stages
/// take, and each has a picture of its own. A stage holds nothing back once there is nothing more
/// to do, and what it makes of a frame depends on that frame alone; where the second is not so,
/// `note` says that pictures were not compared. Without stages the neighbours live by themselves.
///
/// Lives go on in child processes, so that a stage that hangs or crashes is found like any other.
/// The calling process has one thread.
ExerciseReport exercise(const std::vector<StageSpec>& stages, const ExerciseOptions& options = {});

/// As lines for a terminal: the finding, or how much was tried.
std::string toText(const ExerciseReport& report, const ExerciseOptions& options);

}  // namespace plexa::kit
