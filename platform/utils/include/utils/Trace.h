// Trace scopes and counters; a compare each while nobody listens.
#pragma once

#include <host/TraceSink.h>

namespace android {

// Traces from its construction to the end of its scope.
// Threading: reentrant.
class ScopedTrace {
public:
    explicit ScopedTrace(const char* name) : mSink(host::traceSink()) {
        if (mSink != nullptr) [[unlikely]]
            mSink->begin(name);
    }
    ~ScopedTrace() {
        if (mSink != nullptr) [[unlikely]]
            mSink->end();
    }
    ScopedTrace(const ScopedTrace&) = delete;
    ScopedTrace& operator=(const ScopedTrace&) = delete;

private:
    host::TraceSink* const mSink;
};

}  // namespace android

#define PLEXA_TRACE_JOIN2(a, b) a##b
#define PLEXA_TRACE_JOIN(a, b) PLEXA_TRACE_JOIN2(a, b)
#define PLEXA_TRACE_TELL(call)                                          \
    do {                                                                \
        if (auto* traceSink_ = android::host::traceSink()) [[unlikely]] \
            traceSink_->call;                                           \
    } while (false)

#define ATRACE_ENABLED() (android::host::traceSink() != nullptr)
#define ATRACE_NAME(name) const android::ScopedTrace PLEXA_TRACE_JOIN(trace_, __LINE__)(name)
#define ATRACE_CALL() ATRACE_NAME(__func__)
#define ATRACE_INT(name, value) PLEXA_TRACE_TELL(counter(name, value))
#define ATRACE_INT64(name, value) PLEXA_TRACE_TELL(counter(name, value))
#define ATRACE_ASYNC_BEGIN(name, cookie) PLEXA_TRACE_TELL(asyncBegin(name, cookie))
#define ATRACE_ASYNC_END(name, cookie) PLEXA_TRACE_TELL(asyncEnd(name, cookie))
