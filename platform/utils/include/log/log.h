// ALOGV to ALOGE by LOG_TAG, and LOG_ALWAYS_FATAL: lines, checked like printf.
#pragma once

#include <android/log.h>
#include <host/LogThreshold.h>

// Define it before the first include; a file without one logs without a tag.
#ifndef LOG_TAG
#define LOG_TAG nullptr
#endif

// Below the threshold a call is one compare: its arguments are not evaluated.
#define PLEXA_LOG(priority, ...)                                 \
    do {                                                         \
        if (android::host::isLogged(priority)) [[unlikely]]      \
            __android_log_print(priority, LOG_TAG, __VA_ARGS__); \
    } while (false)

#define ALOGV(...) PLEXA_LOG(ANDROID_LOG_VERBOSE, __VA_ARGS__)
#define ALOGD(...) PLEXA_LOG(ANDROID_LOG_DEBUG, __VA_ARGS__)
#define ALOGI(...) PLEXA_LOG(ANDROID_LOG_INFO, __VA_ARGS__)
#define ALOGW(...) PLEXA_LOG(ANDROID_LOG_WARN, __VA_ARGS__)
#define ALOGE(...) PLEXA_LOG(ANDROID_LOG_ERROR, __VA_ARGS__)

#define ALOGV_IF(condition, ...) PLEXA_LOG_IF(condition, ANDROID_LOG_VERBOSE, __VA_ARGS__)
#define ALOGD_IF(condition, ...) PLEXA_LOG_IF(condition, ANDROID_LOG_DEBUG, __VA_ARGS__)
#define ALOGI_IF(condition, ...) PLEXA_LOG_IF(condition, ANDROID_LOG_INFO, __VA_ARGS__)
#define ALOGW_IF(condition, ...) PLEXA_LOG_IF(condition, ANDROID_LOG_WARN, __VA_ARGS__)
#define ALOGE_IF(condition, ...) PLEXA_LOG_IF(condition, ANDROID_LOG_ERROR, __VA_ARGS__)
#define PLEXA_LOG_IF(condition, priority, ...) \
    do {                                       \
        if (condition) [[unlikely]]            \
            PLEXA_LOG(priority, __VA_ARGS__);  \
    } while (false)

// Logs the line as fatal and calls the aborter. Only for what our own code guarantees.
#define LOG_ALWAYS_FATAL(...) __android_log_assert(nullptr, LOG_TAG, __VA_ARGS__)
#define LOG_ALWAYS_FATAL_IF(condition, ...)                         \
    do {                                                            \
        if (condition) [[unlikely]]                                 \
            __android_log_assert(#condition, LOG_TAG, __VA_ARGS__); \
    } while (false)
