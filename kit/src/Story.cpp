// Drawing stories, and writing them down.
#include "Story.h"

#include <array>
#include <random>
#include <sstream>

namespace plexa::kit {

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

StagePlan drawNeighbour(std::mt19937_64& random, size_t stages) {
    StagePlan stage;
    stage.generator = drawGenerator(random, stages);
    stage.poolSize = 1 + static_cast<int>(random() % 4);
    stage.otherMemory = random() % 8 == 0;
    stage.waitList = random() % 4 == 0;
    stage.engineUs = random() % 2 == 0 ? 0 : 1 + static_cast<int32_t>(random() % 200);
    return stage;
}

std::vector<StagePlan> drawStages(std::mt19937_64& random, const Cast& cast) {
    size_t before = cast.given == 0 ? 1 + random() % 4 : random() % 3;
    size_t after = cast.given == 0 ? 0 : random() % 3;
    if (!cast.mayPrecede) before = 0;
    if (!cast.mayFollow) after = 0;
    const size_t count = before + static_cast<size_t>(cast.given) + after;
    std::vector<StagePlan> stages;
    for (size_t i = 0; i < before; ++i)
        stages.push_back(drawNeighbour(random, count));
    for (int i = 0; i < cast.given; ++i) {
        stages.emplace_back();
        stages.back().given = i;
    }
    for (size_t i = 0; i < after; ++i)
        stages.push_back(drawNeighbour(random, count));
    return stages;
}

}  // namespace

Story drawStory(uint64_t seed, const Cast& cast) {
    constexpr uint64_t kUsualOps = 400, kManyOps = 1600;
    std::mt19937_64 random(seed);
    Story story;
    story.seed = seed;
    story.order = random() % 2 == 0 ? Scheduler::Order::Even : Scheduler::Order::Priorities;
    story.stages = drawStages(random, cast);
    story.ops.resize(20 + random() % (random() % 16 == 0 ? kManyOps : kUsualOps));
    for (Op& op : story.ops) {
        op.act = actAt(static_cast<uint32_t>(random() % 1000)).act;
        op.arg = static_cast<uint32_t>(random());
        if (op.act == Act::FailSystem && !cast.systemFaults) op.act = Act::Run;
    }
    story.ending = static_cast<Ending>(random() % 3);
    return story;
}

std::string chainText(const Story& story, const std::vector<std::string>& givenNames) {
    std::ostringstream text;
    for (const StagePlan& stage : story.stages) {
        if (text.tellp() > 0) text << " ! ";
        if (stage.given != StagePlan::kNeighbour) {
            text << givenNames[static_cast<size_t>(stage.given)];
            continue;
        }
        text << "neighbour(pool " << stage.poolSize << (stage.waitList ? " and wait list" : "");
        if (stage.otherMemory) text << " in other memory";
        if (stage.engineUs > 0) text << ", " << stage.engineUs << " us a frame";
        text << ")";
        if (stage.generator != Generator::Base) text << "+" << nameOf(stage.generator);
    }
    return text.str();
}

std::string opsText(const Story& story) {
    std::ostringstream text;
    for (const Op& op : story.ops)
        text << (text.tellp() > 0 ? "; " : "") << kActs[static_cast<size_t>(op.act)].name;
    return text.str();
}

const char* nameOf(Ending ending) {
    constexpr const char* kNames[] = {"drain", "release", "abandon"};
    return kNames[static_cast<int>(ending)];
}

}  // namespace plexa::kit
