// One event as a thread recorded it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace android::host {

enum class TraceKind : uint8_t { Begin, End, AsyncBegin, AsyncEnd, Counter };

struct TraceEvent {
    static constexpr size_t kMaxName = 110;  // longer names are cut

    int64_t timeNs;
    int64_t value;  // a counter's, or an async event's cookie
    TraceKind kind;
    uint8_t length;
    char text[kMaxName];

    std::string_view name() const { return {text, length}; }
};
static_assert(sizeof(TraceEvent) == 128);  // two cache lines, of which most names fill one

inline int64_t traceClockNs() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace android::host
