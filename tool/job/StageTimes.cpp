// How long each stage works on a frame, from the platform's trace events.
#include "job/StageTimes.h"

#include <chrono>

namespace plexa {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kOtherSlice = SIZE_MAX;

// A slice that the thread is inside; slices of one thread nest.
struct OpenSlice {
    size_t stage;
    Clock::time_point begin;
};

thread_local std::vector<OpenSlice> tOpenSlices;

}  // namespace

StageTimes::StageTimes(std::vector<std::string> stages)
    : mNext(android::host::traceSink()), mStages(std::move(stages)), mWork(mStages.size()) {
    android::host::setTraceSink(this);
}

StageTimes::~StageTimes() {
    android::host::setTraceSink(mNext);
}

// The stage whose name is followed by a number, or by nothing.
size_t StageTimes::stageOf(std::string_view slice) const {
    for (size_t i = 0; i < mStages.size(); ++i) {
        if (!slice.starts_with(mStages[i])) continue;
        const std::string_view rest = slice.substr(mStages[i].size());
        const bool isWork = rest.find_first_not_of("-0123456789", 1) == std::string_view::npos;
        if (rest.empty() || (rest.front() == ' ' && isWork)) return i;
    }
    return kOtherSlice;
}

void StageTimes::begin(const char* name) {
    if (mNext != nullptr) mNext->begin(name);
    tOpenSlices.push_back({stageOf(name), Clock::now()});
}

void StageTimes::end() {
    const Clock::time_point now = Clock::now();
    if (mNext != nullptr) mNext->end();
    const OpenSlice slice = tOpenSlices.back();
    tOpenSlices.pop_back();
    if (slice.stage == kOtherSlice) return;
    const android::Mutex::Autolock lock(mLock);
    mWork[slice.stage].add(now - slice.begin);
}

void StageTimes::asyncBegin(const char* name, int32_t cookie) {
    if (mNext != nullptr) mNext->asyncBegin(name, cookie);
}

void StageTimes::asyncEnd(const char* name, int32_t cookie) {
    if (mNext != nullptr) mNext->asyncEnd(name, cookie);
}

void StageTimes::counter(const char* name, int64_t value) {
    if (mNext != nullptr) mNext->counter(name, value);
}

std::vector<StageTime> StageTimes::summary() const {
    const android::Mutex::Autolock lock(mLock);
    std::vector<StageTime> result;
    for (size_t i = 0; i < mStages.size(); ++i)
        result.push_back({mStages[i], mWork[i].summary()});
    return result;
}

}  // namespace plexa
