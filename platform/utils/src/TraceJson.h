// Trace events as JSON.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "TraceEvent.h"

namespace android::host {

// Formats events in the order of their times, and knows what has begun and not ended: the tail ends
// it, so that head, events and tail are a whole file after any event.
// Threading: reentrant.
class TraceJson {
public:
    // Times are told from `startNs` on.
    TraceJson(int32_t processId, int64_t startNs) : mProcessId(processId), mStartNs(startNs) {}

    std::string head(std::string_view processName) const;
    // To be told before the first event of a thread.
    void appendThread(int32_t threadId, std::string_view name, std::string* to) const;
    // Leaves out the end of what began before the trace did.
    void append(int32_t threadId, const TraceEvent& event, std::string* to);
    // How many events were left out until now, as a counter.
    void appendLeftOut(uint64_t leftOut, int64_t nowNs, std::string* to) const;
    // Async events beyond those that it can keep in mind; their ends are missing too.
    uint64_t leftOut() const { return mLeftOut; }
    std::string tail(uint64_t leftOut, int64_t nowNs) const;

private:
    using AsyncKey = std::pair<std::string, int32_t>;

    // Async events that never end take no more memory than this many.
    static constexpr size_t kMaxOpenAsync = 4096;

    bool open(int32_t threadId, const TraceEvent& event);
    void appendStart(char phase, int32_t threadId, int64_t timeNs, std::string* to) const;
    void appendAsync(char phase, int32_t threadId, int64_t timeNs, std::string_view name,
                     int32_t cookie, std::string* to) const;

    const int32_t mProcessId;
    const int64_t mStartNs;
    std::map<int32_t, int> mOpenSlices;  // of each thread
    std::map<AsyncKey, int> mOpenAsync;
    size_t mOpenAsyncCount = 0;
    uint64_t mLeftOut = 0;
};

}  // namespace android::host
