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
    /// As APipeQueueRecord.
    struct Queue {
        int64_t count = 0;
        int64_t firstUs = -1;
        int64_t lastUs = -1;
    };
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
    bool isCreated = false;  ///< neither initialised nor in error
    int64_t queued = 0;      ///< items in the message queue
    int64_t untakenNotices = 0;
    int64_t nowMs = 0;
    Queue inputs;
    int64_t outputs = 0;
    Queue subInputs;
    Queue metas;
    Queue toWork;
    Queue toSend;
    int64_t missing = APipePending::kNothing;
    bool isPaused = false;
    int64_t poolFree = APipeStageRecord::kNoPool;
    int64_t poolSize = APipeStageRecord::kNoPool;
    APipeActivity activity;
    APipeCounts counts;
    int64_t forgottenByLastFlush = 0;
    APipeLedger::Failure failure;
    std::vector<PoolBuffer> pool;
};

}  // namespace android
