// How long each stage works on a frame, from the platform's trace events.
#pragma once

#include <host/TraceSink.h>
#include <utils/Mutex.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/DurationHistogram.h"

namespace plexa {

/** The work of one stage over a job. */
struct StageTime {
    std::string name;
    DurationSummary work;
};

/**
 * Listens to the platform's trace and sums up the slices of the given stages' work, which are named
 * like the stage and the frame's time. Installs itself for its lifetime, and passes all on to the
 * sink that was installed before; it must outlive the stages, which may be inside a slice.
 *
 * Threading: thread-safe.
 */
class StageTimes final : public android::host::TraceSink {
public:
    explicit StageTimes(std::vector<std::string> stages);
    ~StageTimes();
    StageTimes(const StageTimes&) = delete;
    StageTimes& operator=(const StageTimes&) = delete;

    std::vector<StageTime> summary() const;

    void begin(const char* name) override;
    void end() override;
    void asyncBegin(const char* name, int32_t cookie) override;
    void asyncEnd(const char* name, int32_t cookie) override;
    void counter(const char* name, int64_t value) override;

private:
    size_t stageOf(std::string_view slice) const;

    android::host::TraceSink* const mNext;
    const std::vector<std::string> mStages;
    mutable android::Mutex mLock;
    std::vector<DurationHistogram> mWork GUARDED_BY(mLock);  // of each stage
};

}  // namespace plexa
