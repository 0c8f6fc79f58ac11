// LogCapture: keeps the lines that are logged while it exists.
#pragma once

#include <android/log.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace plexa {

// Takes the log's place, at every priority from `minimum` up; one at a time. The lines do not
// reach standard error.
// Threading: thread-safe; threads that may still log are to be stopped before it goes.
class LogCapture {
public:
    struct Line {
        int32_t priority;
        std::string tag;
        std::string text;
    };

    explicit LogCapture(int32_t minimum = ANDROID_LOG_VERBOSE)
        : mMinimumBefore(__android_log_set_minimum_priority(minimum)) {
        const std::lock_guard lock(sLock);
        sLines.clear();
        __android_log_set_logger(&LogCapture::keep);
    }
    ~LogCapture() {
        __android_log_set_logger(nullptr);
        __android_log_set_minimum_priority(mMinimumBefore);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // How many lines of this priority and tag contain the text.
    size_t count(int32_t priority, std::string_view tag, std::string_view text) const {
        const std::lock_guard lock(sLock);
        return static_cast<size_t>(
            std::count_if(sLines.begin(), sLines.end(), [&](const Line& line) {
                return line.priority == priority && line.tag == tag &&
                       line.text.find(text) != std::string::npos;
            }));
    }
    bool contains(int32_t priority, std::string_view tag, std::string_view text) const {
        return count(priority, tag, text) != 0;
    }
    // How many lines of at least this priority there are.
    size_t countFrom(int32_t priority) const {
        const std::lock_guard lock(sLock);
        return static_cast<size_t>(
            std::count_if(sLines.begin(), sLines.end(),
                          [&](const Line& line) { return line.priority >= priority; }));
    }
    std::vector<Line> lines() const {
        const std::lock_guard lock(sLock);
        return sLines;
    }
    void clear() {
        const std::lock_guard lock(sLock);
        sLines.clear();
    }

private:
    static void keep(const __android_log_message* message) {
        const std::lock_guard lock(sLock);
        sLines.push_back(
            {message->priority, message->tag != nullptr ? message->tag : "", message->message});
    }

    // The log's hook is a plain function.
    static inline std::mutex sLock;
    static inline std::vector<Line> sLines;  // guarded by sLock

    const int32_t mMinimumBefore;
};

}  // namespace plexa
