// A random life of a chain as a plan: its stages, what its client does, and how it ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace plexa {

// What a client does, or what goes wrong; Op::arg draws the details.
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

struct StagePlan {
    Generator generator = Generator::Base;
    int poolSize = 2;
    bool graphicsMemory = false;
    bool waitList = false;
    // 0: the engine works at once. Otherwise it answers later, and looks at its buffers until then.
    int32_t engineUs = 0;
};

// Drain runs until nothing moves and takes stock; Release waits for the notice; Abandon drops the
// references where they are.
enum class Ending { Drain, Release, Abandon };

struct ChainPlan {
    uint64_t seed = 0;
    std::vector<StagePlan> stages;
    std::vector<Op> ops;
    Ending ending = Ending::Drain;
};

// The same seed gives the same plan.
ChainPlan drawPlan(uint64_t seed);

// One line for the chain and one for each op.
std::string toText(const ChainPlan& plan);

}  // namespace plexa
