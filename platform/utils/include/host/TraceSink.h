// TraceSink: where the trace macros report to when a tool listens.
#pragma once

#include <atomic>
#include <cstdint>

namespace android::host {

// Receives the events of <utils/Trace.h>. Names are valid during the call only. begin() and end()
// of one thread nest; async pairs match by name and cookie, from any threads.
// Threading: called from all threads at once; an implementation brings its own lock.
class TraceSink {
public:
    virtual void begin(const char* name) = 0;
    virtual void end() = 0;
    virtual void asyncBegin(const char* name, int32_t cookie) = 0;
    virtual void asyncEnd(const char* name, int32_t cookie) = 0;
    virtual void counter(const char* name, int64_t value) = 0;

protected:
    ~TraceSink() = default;
};

extern std::atomic<TraceSink*> gTraceSink;

// Installs a sink; null switches tracing off. A scope that began before ends on the sink that saw
// it begin, so a sink stays alive until the threads that traced into it are done.
inline void setTraceSink(TraceSink* sink) {
    gTraceSink.store(sink, std::memory_order_release);
}

// The installed sink, null while nobody listens.
inline TraceSink* traceSink() {
    return gTraceSink.load(std::memory_order_acquire);
}

}  // namespace android::host
