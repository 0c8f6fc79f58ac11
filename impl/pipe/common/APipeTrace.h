// APipeTrace: what a stage tells the system trace.
#pragma once

#ifndef ATRACE_TAG
#define ATRACE_TAG ATRACE_TAG_VIDEO
#endif
#include <utils/Trace.h>

#include <cstdint>
#include <string>

namespace android {

/// The names of a stage's tracks. All of it is for nothing but a compare while nobody traces. A
/// frame's track has the low 32 bits of its time as its cookie.
///
/// Threading: the stage's loop, frames excepted: any thread.
class APipeTrace {
public:
    explicit APipeTrace(const std::string& stage);

    static bool isOn() { return ATRACE_ENABLED(); }

    /// The name of a slice for the work on a frame; empty while nobody traces.
    std::string workName(int64_t timeUs) const;
    /// The same for an input that is no frame but the mark of the end.
    std::string endName() const;

    /// From an input's arrival on the stage to the work on it.
    void beginWait(int64_t timeUs) const;
    void endWait(int64_t timeUs) const;

    /// From the client's queueItem to the notice of the output, or to where the frame ends.
    static void beginFrame(int64_t timeUs);
    static void endFrame(int64_t timeUs);
    /// A mark on the calling thread, and the end of the frame and its wait.
    void drop(int64_t timeUs, const char* reason) const;

    /// What waits in the generator, and what is free in the pool.
    void counters(int64_t inputs, int64_t outputs, int64_t freeBuffers) const;

private:
    const std::string mStage;
    const std::string mWaits;
    const std::string mFreeBuffers;
    const std::string mInputs;
    const std::string mOutputs;
};

}  // namespace android
