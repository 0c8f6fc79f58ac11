// Drawing plans, and writing them down.
#include "ChainPlan.h"

#include <array>
#include <random>
#include <sstream>

namespace plexa {

namespace {

struct ActShare {
    Act act;
    const char* name;
    uint32_t share;  // of 1000
};

constexpr std::array<ActShare, 15> kActs = {{
    {Act::QueueInput, "queue input", 260},
    {Act::QueueOutput, "queue output", 220},
    {Act::QueueSubInput, "queue sub input", 60},
    {Act::QueueMetadata, "queue metadata", 60},
    {Act::QueueMalformed, "queue malformed", 4},
    {Act::Flush, "flush", 25},
    {Act::Release, "release", 10},
    {Act::Init, "init", 16},
    {Act::SetRanges, "set ranges", 15},
    {Act::SetParameter, "set parameter", 10},
    {Act::Pause, "pause", 10},
    {Act::RaiseGeneration, "raise generation", 3},
    {Act::FailEngine, "fail engine", 4},
    {Act::FailSystem, "fail system", 3},
    {Act::Run, "run", 300},
}};

const char* nameOf(Generator generator) {
    constexpr const char* kNames[] = {"base", "csc", "filter", "portrait", "none"};
    return kNames[static_cast<int>(generator)];
}

const char* nameOf(Ending ending) {
    constexpr const char* kNames[] = {"drain", "release", "abandon"};
    return kNames[static_cast<int>(ending)];
}

const ActShare& actAt(uint32_t point) {
    for (const ActShare& entry : kActs) {
        if (point < entry.share) return entry;
        point -= entry.share;
    }
    return kActs.back();
}

Generator drawGenerator(std::mt19937_64& random, size_t stages) {
    if (random() % 2 == 0) return Generator::Base;
    // Without a generator each item must carry both buffers, which only a client can see to.
    return static_cast<Generator>(random() % (stages == 1 ? 5 : 4));
}

StagePlan drawStage(std::mt19937_64& random, size_t stages) {
    StagePlan stage;
    stage.generator = drawGenerator(random, stages);
    stage.poolSize = 1 + static_cast<int>(random() % 4);
    stage.graphicsMemory = random() % 8 == 0;
    stage.waitList = random() % 4 == 0;
    stage.engineUs = random() % 2 == 0 ? 0 : 1 + static_cast<int32_t>(random() % 200);
    return stage;
}

}  // namespace

ChainPlan drawPlan(uint64_t seed) {
    std::mt19937_64 random(seed);
    ChainPlan plan;
    plan.seed = seed;
    plan.stages.resize(1 + random() % 4);
    for (StagePlan& stage : plan.stages)
        stage = drawStage(random, plan.stages.size());
    plan.ops.resize(20 + random() % 400);
    for (Op& op : plan.ops) {
        op.act = actAt(static_cast<uint32_t>(random() % 1000)).act;
        op.arg = static_cast<uint32_t>(random());
    }
    plan.ending = static_cast<Ending>(random() % 3);
    return plan;
}

std::string toText(const ChainPlan& plan) {
    std::ostringstream text;
    text << "seed " << plan.seed << ", ends with " << nameOf(plan.ending) << "; stages:";
    for (const StagePlan& stage : plan.stages) {
        text << ' ' << nameOf(stage.generator) << '/' << stage.poolSize
             << (stage.graphicsMemory ? "/graphics" : "") << (stage.waitList ? "/wait" : "") << '/'
             << stage.engineUs << "us";
    }
    for (const Op& op : plan.ops)
        text << "\n  " << kActs[static_cast<size_t>(op.act)].name << ' ' << op.arg;
    return text.str();
}

}  // namespace plexa
