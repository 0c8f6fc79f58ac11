// How long each stage works on a frame, from the platform's trace events.
#include "job/StageTimes.h"

#include <chrono>

namespace plexa {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kOtherSection = SIZE_MAX;

// A section that the thread is inside; sections of one thread nest.
struct OpenSection {
    size_t stage;
    Clock::time_point begin;
};

thread_local std::vector<OpenSection> tOpenSections;

}  // namespace

StageTimes::StageTimes(std::vector<std::string> stages) {
    for (std::string& name : stages)
        mStages.push_back({std::move(name), {}});
    android::host::setTraceSink(this);
}

StageTimes::~StageTimes() {
    android::host::setTraceSink(nullptr);
}

void StageTimes::begin(const char* name) {
    size_t stage = 0;
    while (stage < mStages.size() && mStages[stage].name != name)
        ++stage;
    if (stage == mStages.size()) stage = kOtherSection;
    tOpenSections.push_back({stage, Clock::now()});
}

void StageTimes::end() {
    const Clock::time_point now = Clock::now();
    const OpenSection section = tOpenSections.back();
    tOpenSections.pop_back();
    if (section.stage == kOtherSection) return;
    std::scoped_lock lock(mLock);
    mStages[section.stage].work.add(now - section.begin);
}

std::vector<StageTime> StageTimes::summary() const {
    std::scoped_lock lock(mLock);
    std::vector<StageTime> result;
    for (const Stage& stage : mStages)
        result.push_back({stage.name, stage.work.summary()});
    return result;
}

}  // namespace plexa
