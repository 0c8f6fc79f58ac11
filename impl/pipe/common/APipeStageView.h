// APipeStageView: what a stage tells of itself, put together at one moment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "APipeCounts.h"
#include "APipeLedger.h"
#include "APipePlace.h"
#include "APipeStageRecord.h"

namespace android {

/// Threading: reentrant; a plain value.
struct APipeStageView {
    struct PoolBuffer {
        int32_t id = 0;
        APipePlace place;
        int64_t frameUs = -1;
        bool isTakenByFlush = false;
    };

    std::string name;
    uint32_t stay = 0;
    int32_t generation = 0;
    bool hasLooper = false;
    bool hasNext = false;
    bool isInitialised = false;
    int64_t queued = 0;  ///< items in the message queue
    int64_t untakenNotices = 0;
    int64_t nowMs = 0;
    APipeStageRecord record;
    APipeActivity activity;
    APipeCounts counts;
    APipeLedger::Failure failure;
    std::vector<PoolBuffer> pool;
};

}  // namespace android
