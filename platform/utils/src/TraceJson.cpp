// Trace events as JSON.
#include "TraceJson.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace android::host {

namespace {

template <typename Number>
void appendNumber(Number number, std::string* to, int base = 10) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), number, base).ptr;
    to->append(digits.data(), end);
}

// Microseconds with three digits after the point.
void appendTime(int64_t ns, std::string* to) {
    ns = std::max(ns, int64_t{0});
    appendNumber(ns / 1000, to);
    const auto digit = [](int64_t value) { return static_cast<char>('0' + value % 10); };
    to->append({'.', digit(ns / 100), digit(ns / 10), digit(ns)});
}

// How many bytes the character at the start of text has; 0 if it is no UTF-8.
size_t lengthOfCharacter(std::string_view text) {
    const auto first = static_cast<uint8_t>(text[0]);
    const size_t length = first < 0x80    ? 1
                          : first < 0xc2  ? 0
                          : first < 0xe0  ? 2
                          : first < 0xf0  ? 3
                          : first <= 0xf4 ? 4
                                          : 0;
    if (text.size() < length) return 0;
    const auto isContinued = [](char c) { return (static_cast<uint8_t>(c) & 0xc0) == 0x80; };
    if (!std::all_of(text.begin() + 1, text.begin() + std::max(length, size_t{1}), isContinued)) {
        return 0;
    }
    const auto second = length > 2 ? static_cast<uint8_t>(text[1]) : uint8_t{0};
    const bool isForbidden = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                             (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return isForbidden ? 0 : length;
}

// In quotes; what is no UTF-8 becomes question marks.
void appendText(std::string_view text, std::string* to) {
    *to += '"';
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const size_t length = lengthOfCharacter(text.substr(i));
        if (length == 0) {
            *to += '?';
        } else if (static_cast<uint8_t>(c) < 0x20) {
            *to += static_cast<uint8_t>(c) < 0x10 ? "\\u000" : "\\u00";
            appendNumber(static_cast<int>(c), to, 16);
        } else {
            if (c == '"' || c == '\\') *to += '\\';
            to->append(text, i, length);
        }
        i += std::max(length, size_t{1});
    }
    *to += '"';
}

}  // namespace

std::string TraceJson::head(std::string_view processName) const {
    std::string text = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n";
    text += "{\"ph\":\"M\",\"name\":\"process_name\",\"pid\":";
    appendNumber(mProcessId, &text);
    text += ",\"args\":{\"name\":";
    appendText(processName, &text);
    text += "}}";
    return text;
}

void TraceJson::appendThread(int32_t threadId, std::string_view name, std::string* to) const {
    *to += ",\n{\"ph\":\"M\",\"name\":\"thread_name\",\"pid\":";
    appendNumber(mProcessId, to);
    *to += ",\"tid\":";
    appendNumber(threadId, to);
    *to += ",\"args\":{\"name\":";
    appendText(name, to);
    *to += "}}";
}

void TraceJson::append(int32_t threadId, const TraceEvent& event, std::string* to) {
    if (!open(threadId, event)) return;
    switch (event.kind) {
        case TraceKind::Begin:
            appendStart('B', threadId, event.timeNs, to);
            *to += ",\"name\":";
            appendText(event.name(), to);
            break;
        case TraceKind::End:
            appendStart('E', threadId, event.timeNs, to);
            break;
        case TraceKind::AsyncBegin:
        case TraceKind::AsyncEnd:
            appendAsync(event.kind == TraceKind::AsyncBegin ? 'b' : 'e', threadId, event.timeNs,
                        event.name(), static_cast<int32_t>(event.value), to);
            break;
        case TraceKind::Counter:
            appendStart('C', threadId, event.timeNs, to);
            *to += ",\"name\":";
            appendText(event.name(), to);
            *to += ",\"args\":{\"value\":";
            appendNumber(event.value, to);
            *to += '}';
            break;
    }
    *to += '}';
}

// Notes what begins and ends; false if the event has no place in the file.
bool TraceJson::open(int32_t threadId, const TraceEvent& event) {
    switch (event.kind) {
        case TraceKind::Begin:
            ++mOpenSlices[threadId];
            return true;
        case TraceKind::End: {
            const auto found = mOpenSlices.find(threadId);
            if (found == mOpenSlices.end()) return false;
            if (--found->second == 0) mOpenSlices.erase(found);
            return true;
        }
        case TraceKind::AsyncBegin:
            if (mOpenAsyncCount == kMaxOpenAsync) {
                ++mLeftOut;
                return false;
            }
            ++mOpenAsyncCount;
            ++mOpenAsync[{std::string(event.name()), static_cast<int32_t>(event.value)}];
            return true;
        case TraceKind::AsyncEnd: {
            const auto found =
                mOpenAsync.find({std::string(event.name()), static_cast<int32_t>(event.value)});
            if (found == mOpenAsync.end()) return false;
            --mOpenAsyncCount;
            if (--found->second == 0) mOpenAsync.erase(found);
            return true;
        }
        case TraceKind::Counter:
            return true;
    }
    return false;
}

void TraceJson::appendLeftOut(uint64_t leftOut, int64_t nowNs, std::string* to) const {
    appendStart('C', mProcessId, nowNs, to);
    *to += ",\"name\":\"events left out\",\"args\":{\"value\":";
    appendNumber(leftOut, to);
    *to += "}}";
}

std::string TraceJson::tail(uint64_t leftOut, int64_t nowNs) const {
    static constexpr const char* kUnfinished = ",\"args\":{\"unfinished\":true}}";
    std::string text;
    for (const auto& [threadId, count] : mOpenSlices) {
        for (int i = 0; i < count; ++i) {
            appendStart('E', threadId, nowNs, &text);
            text += kUnfinished;
        }
    }
    for (const auto& [key, count] : mOpenAsync) {
        for (int i = 0; i < count; ++i) {
            appendAsync('e', mProcessId, nowNs, key.first, key.second, &text);
            text += kUnfinished;
        }
    }
    text += "\n],\"otherData\":{\"eventsLeftOut\":";
    appendNumber(leftOut, &text);
    text += "}}\n";
    return text;
}

void TraceJson::appendStart(char phase, int32_t threadId, int64_t timeNs, std::string* to) const {
    *to += ",\n{\"ph\":\"";
    *to += phase;
    *to += "\",\"ts\":";
    appendTime(timeNs - mStartNs, to);
    *to += ",\"pid\":";
    appendNumber(mProcessId, to);
    *to += ",\"tid\":";
    appendNumber(threadId, to);
}

// The name is the category too, so that equal cookies of other names are other events.
void TraceJson::appendAsync(char phase, int32_t threadId, int64_t timeNs, std::string_view name,
                            int32_t cookie, std::string* to) const {
    appendStart(phase, threadId, timeNs, to);
    *to += ",\"id\":\"0x";
    appendNumber(static_cast<uint32_t>(cookie), to, 16);
    *to += "\",\"cat\":";
    appendText(name, to);
    *to += ",\"name\":";
    appendText(name, to);
}

}  // namespace android::host
