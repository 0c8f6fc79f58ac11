// APipeStageRecord: what a stage's loop tells of itself after every message.
#pragma once

#include <cstdint>

#include "APipeCounts.h"

namespace android {

/// A list of buffers or metadata: how many, and the times of the first and the last; -1 without
/// one.
struct APipeQueueRecord {
    int64_t count = 0;
    int64_t firstUs = -1;
    int64_t lastUs = -1;
};

/// What waits in a generator. Its counts leave out what it has dropped or completed.
struct APipePending {
    /// What the front input cannot be completed without, though there is an output for it.
    enum Missing : int64_t { kNothing, kSubInput, kMetadata };

    APipeQueueRecord inputs;
    APipeQueueRecord outputs;
    APipeQueueRecord subInputs;
    APipeQueueRecord metas;
    int64_t otherBuffers = 0;  ///< in completed and dropped items
    int64_t missing = kNothing;
    int64_t isPaused = 0;
};

/// Numbers of 64 bits throughout, so that it can be published word by word.
struct APipeStageRecord {
    static constexpr int64_t kNoPool = -1;

    APipeCounts counts;  ///< since init; refusals are counted elsewhere
    APipeCounts countsAtFlush;
    APipePending pending;
    APipeQueueRecord toWork;
    APipeQueueRecord toSend;
    int64_t poolFree = kNoPool;
    int64_t poolSize = kNoPool;
    int64_t arrived = 0;  ///< items that were taken from the message queue
    int64_t state = 0;

    /// Something is in the stage that is to come out of it. Empty outputs wait for inputs, and
    /// metadata alone starts no work.
    bool hasWork() const {
        return pending.inputs.count > 0 || pending.subInputs.count > 0 || toWork.count > 0 ||
               toSend.count > 0 || counts.kept > 0;
    }
    /// Grows with every buffer that leaves the stage.
    int64_t progress() const { return counts.taken - counts.held - counts.failed; }
};

/// What a stage's loop is at.
struct APipeActivity {
    enum Kind : int64_t { kNone, kStarting, kIdle, kInWork, kFlushing, kReleasing };

    int64_t kind = kNone;
    int64_t sinceMs = 0;  ///< of coarseNowMs()
    int64_t frameUs = -1;
};

}  // namespace android
