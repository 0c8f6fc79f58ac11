// Story: a random life of a chain as a plan: its stages, what its client does, and how it ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <kit/Scheduler.h>

namespace plexa::kit {

/// What a client does, or what goes wrong; Op::arg draws the details.
enum class Act {
    QueueInput,
    QueueOutput,
    QueueSubInput,
    QueueMetadata,
    QueueMalformed,
    Flush,
    Release,
    Init,
    SetRanges,
    SetParameter,
    Pause,
    RaiseGeneration,
    FailEngine,
    FailSystem,
    Run,
};

struct Op {
    Act act;
    uint32_t arg;
};

enum class Generator { Base, Csc, Filter, Portrait, None };

/// A stage of the chain: one that is to be proved, or a neighbour of the kit's, which passes its
/// frames on and looks at each of them.
struct StagePlan {
    static constexpr int kNeighbour = -1;

    int given = kNeighbour;  ///< which of the stages to prove; the rest is a neighbour's
    Generator generator = Generator::Base;
    int poolSize = 2;
    bool otherMemory = false;  ///< where its pool may lie in other memory than its inputs
    bool waitList = false;
    /// 0: the engine works at once. Otherwise it answers later, and looks at its buffers until
    /// then.
    int32_t engineUs = 0;
};

/// Drain runs until nothing moves and takes stock; Release waits for the notice; Abandon drops the
/// references where they are.
enum class Ending { Drain, Release, Abandon };

struct Story {
    uint64_t seed = 0;
    Scheduler::Order order = Scheduler::Order::Even;
    std::vector<StagePlan> stages;
    std::vector<Op> ops;
    Ending ending = Ending::Drain;
};

/// What stories are about.
struct Cast {
    int given = 0;             ///< how many stages are to be proved, always one after the other
    bool mayPrecede = true;    ///< whether neighbours can stand before them
    bool mayFollow = true;     ///< and after them
    bool systemFaults = true;  ///< whether memory and threads may fail
};

/// The same seed and cast give the same story. Threading: reentrant, as all here.
Story drawStory(uint64_t seed, const Cast& cast = {});

/// The stages of a story, as in "neighbour ! watermark ! neighbour".
std::string chainText(const Story& story, const std::vector<std::string>& givenNames);

/// One line for each op, for a life that could not tell what came of them.
std::string opsText(const Story& story);

const char* nameOf(Ending ending);

}  // namespace plexa::kit
