// The platform's log interface: priorities, printing, and the hooks that tests and tools install.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// Lines go to the logger, which by default prints "<priority> <tag>: <message>" to standard error.
// Lines below the minimum priority are not even formatted; it is ANDROID_LOG_WARN at the start, so
// that progress, logged at info level, costs next to nothing unless someone asks for it.
// A message is cut to 1023 bytes.
// Threading: thread-safe, also the setters; a logger or aborter runs on the thread that logs.
extern "C" {

enum android_LogPriority : int {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT,
};

enum log_id : int {
    LOG_ID_MAIN = 0,
    LOG_ID_DEFAULT = 0x7FFFFFFF,
};

// One line as a logger sees it. The strings are valid during the call; tag and file may be null.
struct __android_log_message {
    size_t struct_size;
    int32_t buffer_id;
    int32_t priority;
    const char* tag;
    const char* file;
    uint32_t line;
    const char* message;
};

using __android_logger_function = void (*)(const __android_log_message* message);
using __android_aborter_function = void (*)(const char* abort_message);

int __android_log_write(int priority, const char* tag, const char* text);
int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
int __android_log_vprint(int priority, const char* tag, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));
// Hands a line to the logger, whatever the minimum priority.
void __android_log_write_log_message(__android_log_message* message);

// Logs a fatal line ("Assertion failed: <condition>" without a format) and calls the aborter; the
// process is aborted should that return.
[[noreturn]] void __android_log_assert(const char* condition, const char* tag, const char* format,
                                       ...) __attribute__((format(printf, 3, 4)));

// Replaces the logger or the aborter; null brings back the default.
void __android_log_set_logger(__android_logger_function logger);
void __android_log_set_aborter(__android_aborter_function aborter);
void __android_log_call_aborter(const char* abort_message);
void __android_log_stderr_logger(const __android_log_message* message);
[[noreturn]] void __android_log_default_aborter(const char* abort_message);

// Sets the lowest priority that is logged; returns the one before.
int32_t __android_log_set_minimum_priority(int32_t priority);
int32_t __android_log_get_minimum_priority();
// 1 if a line of this priority is logged. Tags have no thresholds of their own here.
int __android_log_is_loggable(int priority, const char* tag, int default_priority);

}  // extern "C"
