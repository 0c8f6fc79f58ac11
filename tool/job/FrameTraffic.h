// Which buffer is where, and why a job ends.
#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>

#include "base/DurationHistogram.h"
#include "base/Status.h"
#include "media/VideoFormat.h"

namespace plexa {

/**
 * The meeting point of a job's threads: the one that feeds the chain waits here for a free input
 * buffer, the one that drains it for a filled output buffer, and the chain's notices give them out.
 * The first failure, wherever it happens, ends both waits. So does a chain that owes a frame and is
 * silent for a minute: no wait is for ever.
 *
 * Frames leave the chain in the order in which they entered it; their exact times and their
 * properties stay here meanwhile, and what the chain says of a frame is checked against them.
 *
 * Threading: thread-safe.
 */
class FrameTraffic {
public:
    /** Input buffers have the ids from 0 to `inputs` - 1, all free at first. */
    explicit FrameTraffic(int inputs) { startAnew(inputs); }

    /** Waits for a free input buffer; false once the job has failed. */
    bool takeFreeInput(int* bufferId);

    /** What is to be known of an input when its output comes. */
    struct FrameInChain {
        FrameTime time;
        int64_t timeUs = 0;
        std::shared_ptr<const AVFrame> properties;
        bool isEnd = false;  // the mark of the end, not a frame
        std::chrono::steady_clock::time_point queued = {};
    };
    /** An input is about to be queued. */
    void inputQueued(FrameInChain frame);

    struct FilledOutput {
        int bufferId = -1;
        FrameInChain frame;
    };
    /** Waits for the next filled output buffer; false once the job has failed. */
    bool takeFilledOutput(FilledOutput* output);
    /** An output buffer is about to be queued. */
    void outputQueued();

    /** After the mark of the end and the chain's release: all inputs are free, no output is out. */
    void startAnew(int inputs);

    /** Ends the job with this error, unless it has failed before. */
    void fail(const Status& status);
    /** The first failure; a Status that is OK without one. */
    Status failure() const;
    /** The failure is that the chain was silent. */
    bool wasSilent() const;

    /** How long frames took from being queued to their output's notice. */
    DurationSummary chainTimes() const;

    void onInputDone(int bufferId);
    /** `hasFrame` is false for a buffer that came back as it was. */
    void onOutputDone(int bufferId, int64_t timeUs, bool hasFrame);
    /** A stage has failed and takes no more items. */
    void onChainError(int status);

private:
    using Clock = std::chrono::steady_clock;

    /** Ends the job if the chain is silent for too long; may return without a change. */
    void waitForChange() REQUIRES(mLock);
    bool isOverdue() const REQUIRES(mLock);
    void failLocked(const Status& status) REQUIRES(mLock);

    mutable android::Mutex mLock;
    android::Condition mChanged;
    std::deque<int> mFreeInputs GUARDED_BY(mLock);
    std::deque<FrameInChain> mInChain GUARDED_BY(mLock);
    std::deque<FilledOutput> mFilled GUARDED_BY(mLock);
    int mOutputsInChain GUARDED_BY(mLock) = 0;
    // The mark of the end is out; what comes now comes home unused.
    bool mEnded GUARDED_BY(mLock) = false;
    Clock::time_point mLastActivity GUARDED_BY(mLock) = Clock::now();
    DurationHistogram mChainTimes GUARDED_BY(mLock);
    Status mFailure GUARDED_BY(mLock);
    bool mWasSilent GUARDED_BY(mLock) = false;
};

}  // namespace plexa
