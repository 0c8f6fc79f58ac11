// APipeStageRecord: what a stage's loop tells of itself after every message.
#pragma once

#include <utils/List.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "APipeItemGenerator.h"
#include "APipePlace.h"

namespace android {

/// A number that a stage's loop writes and any thread reads. Each is right by itself; of two that
/// change together a reader may see one before the other.
///
/// Threading: one writer, any reader.
class APipeGauge {
public:
    explicit APipeGauge(int64_t value = 0) : mValue(value) {}

    // Acquire and release: who sees a count sees at least what was counted before it.
    int64_t get() const { return mValue.load(std::memory_order_acquire); }
    void set(int64_t value) { mValue.store(value, std::memory_order_release); }
    // No read-modify-write: there is one writer.
    void add(int64_t change) { set(mValue.load(std::memory_order_relaxed) + change); }

private:
    std::atomic<int64_t> mValue;
};

/// A list of buffers, items or metadata: how many, and the frame times of the first and the last;
/// -1 without one.
struct APipeQueueRecord {
    APipeGauge count;
    APipeGauge firstUs{-1};
    APipeGauge lastUs{-1};

    void set(size_t size, int64_t first, int64_t last) {
        count.set(static_cast<int64_t>(size));
        firstUs.set(first);
        lastUs.set(last);
    }
    void describe(const List<sp<APipeBuffer>>& buffers) {
        if (buffers.empty()) return count.set(0);
        set(buffers.size(), APipePlace::frameOf(*buffers.begin()),
            APipePlace::frameOf(*std::prev(buffers.end())));
    }
    /// By their inputs.
    void describe(const List<sp<APipeItem>>& items) {
        if (items.empty()) return count.set(0);
        set(items.size(), APipePlace::frameOf((*items.begin())->mInput),
            APipePlace::frameOf((*std::prev(items.end()))->mInput));
    }
};

/// What waits in a generator.
struct APipePending {
    /// What the front input cannot be completed without, though there is an output for it.
    enum Missing : int64_t { kNothing, kSubInput, kMetadata };

    APipeQueueRecord inputs;
    APipeGauge outputs;
    APipeQueueRecord subInputs;
    APipeQueueRecord metas;
    APipeGauge otherBuffers;  ///< in items that are completed or dropped
    APipeGauge missing{kNothing};
    APipeGauge isPaused;

    int64_t buffers() const {
        return inputs.count.get() + outputs.get() + subInputs.count.get() + otherBuffers.get();
    }
};

/// What a stage has at hand.
struct APipeStageRecord {
    static constexpr int64_t kNoPool = -1;

    APipePending pending;
    APipeQueueRecord toWork;
    APipeQueueRecord toSend;
    APipeGauge kept;  ///< as in APipeCounts
    APipeGauge poolFree{kNoPool};
    APipeGauge poolSize{kNoPool};

    /// Something is in the stage that is to come out of it. Empty outputs wait for inputs, and
    /// metadata alone starts no work.
    bool hasWork() const {
        return pending.inputs.count.get() > 0 || pending.subInputs.count.get() > 0 ||
               toWork.count.get() > 0 || toSend.count.get() > 0 || kept.get() > 0;
    }
};

/// What a stage's loop is at.
struct APipeActivity {
    enum Kind : uint8_t { kNone, kStarting, kIdle, kInWork, kFlushing, kReleasing };

    Kind kind = kNone;
    int64_t sinceMs = 0;  ///< of coarseNowMs()
    int64_t frameUs = -1;
};

}  // namespace android
