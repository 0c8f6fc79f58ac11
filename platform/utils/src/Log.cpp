// The log's hooks and its default logger and aborter.
#include <android/log.h>
#include <host/LogThreshold.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace android::host {

std::atomic<int32_t> gLogMinimumPriority{ANDROID_LOG_WARN};

namespace {

constexpr size_t kMaxMessage = 1024;
using MessageText = std::array<char, kMaxMessage>;

std::atomic<__android_logger_function> gLogger{&__android_log_stderr_logger};
std::atomic<__android_aborter_function> gAborter{&__android_log_default_aborter};

char letterOf(int32_t priority) {
    static constexpr char kLetters[] = "??VDIWEF?";
    return kLetters[std::clamp(priority, int32_t{0}, int32_t{ANDROID_LOG_SILENT})];
}

int writeUnchecked(int priority, const char* tag, const char* text) {
    __android_log_message message{sizeof(message), LOG_ID_DEFAULT, priority, tag, nullptr, 0, text};
    __android_log_write_log_message(&message);
    return 1;
}

}  // namespace
}  // namespace android::host

using android::host::gAborter;
using android::host::gLogger;
using android::host::gLogMinimumPriority;
using android::host::isLogged;
using android::host::MessageText;
using android::host::writeUnchecked;

int __android_log_write(int priority, const char* tag, const char* text) {
    return isLogged(priority) ? writeUnchecked(priority, tag, text) : 0;
}

int __android_log_print(int priority, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = __android_log_vprint(priority, tag, format, args);
    va_end(args);
    return result;
}

int __android_log_vprint(int priority, const char* tag, const char* format, va_list args) {
    if (!isLogged(priority)) return 0;
    MessageText text;
    vsnprintf(text.data(), text.size(), format, args);
    return writeUnchecked(priority, tag, text.data());
}

void __android_log_write_log_message(__android_log_message* message) {
    gLogger.load(std::memory_order_acquire)(message);
}

void __android_log_assert(const char* condition, const char* tag, const char* format, ...) {
    MessageText text;
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        vsnprintf(text.data(), text.size(), format, args);
        va_end(args);
    } else {
        snprintf(text.data(), text.size(), "Assertion failed: %s",
                 condition != nullptr ? condition : "unspecified");
    }
    writeUnchecked(ANDROID_LOG_FATAL, tag, text.data());
    __android_log_call_aborter(text.data());
    abort();
}

void __android_log_set_logger(__android_logger_function logger) {
    gLogger.store(logger != nullptr ? logger : &__android_log_stderr_logger,
                  std::memory_order_release);
}

void __android_log_set_aborter(__android_aborter_function aborter) {
    gAborter.store(aborter != nullptr ? aborter : &__android_log_default_aborter,
                   std::memory_order_release);
}

void __android_log_call_aborter(const char* abort_message) {
    gAborter.load(std::memory_order_acquire)(abort_message);
}

void __android_log_stderr_logger(const __android_log_message* message) {
    fprintf(stderr, "%c %s: %s\n", android::host::letterOf(message->priority),
            message->tag != nullptr ? message->tag : "-", message->message);
}

void __android_log_default_aborter(const char*) {
    abort();
}

int32_t __android_log_set_minimum_priority(int32_t priority) {
    return gLogMinimumPriority.exchange(priority, std::memory_order_relaxed);
}

int32_t __android_log_get_minimum_priority() {
    return gLogMinimumPriority.load(std::memory_order_relaxed);
}

int __android_log_is_loggable(int priority, const char*, int) {
    return isLogged(priority) ? 1 : 0;
}
