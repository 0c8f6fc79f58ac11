// The thread that writes what the lanes hold.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "GrowingFile.h"
#include "TraceJson.h"
#include "TraceLanes.h"

namespace android::host {

// Empties the lanes into a file ten times a second, from its construction to its destruction.
// Threading: flush() is thread-safe and may be called in a signal handler, the rest is reentrant.
class TraceWriter {
public:
    // Takes over `file`, which is open; `lanes` is borrowed.
    TraceWriter(TraceLanes* lanes, std::unique_ptr<GrowingFile> file);
    ~TraceWriter();
    TraceWriter(const TraceWriter&) = delete;
    TraceWriter& operator=(const TraceWriter&) = delete;

    // Waits until all so far is in the file, at most two seconds.
    void flush();
    // Flushes and ends the thread. The lanes take nothing from then on.
    void stop();

    // After stop().
    const std::string& error() const { return mFile->error(); }
    uint64_t leftOut() const { return mLeftOut; }

private:
    struct Source {
        TraceLane* lane;
        uint32_t toldUses;  // of the lane, when the name of its thread was written
    };

    void run();
    void forgetWhatIsOld();
    void writeUntil(int64_t untilNs);
    void findSources();
    Source* earliest(int64_t untilNs);
    void take(Source* source);
    void countLeftOut(int64_t nowNs);
    void save(int64_t nowNs);

    TraceLanes& mLanes;
    const std::unique_ptr<GrowingFile> mFile;
    const uint64_t mLeftOutBefore;  // by an earlier writer
    TraceJson mJson;
    std::vector<Source> mSources;
    std::string mText;  // not in the file yet
    uint64_t mLeftOut = 0;
    std::atomic<bool> mStops{false};
    const int mRequests;  // event counters: of flush() calls, and of those that are answered
    const int mAnswers;
    std::thread mThread;
};

}  // namespace android::host
