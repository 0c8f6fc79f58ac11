// What FFmpeg's libraries say, as text for the user.
#include "media/AvMessages.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <utils/Mutex.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <utility>

namespace plexa {

using android::Mutex;

namespace {

std::atomic<bool> sVerbose{false};
Mutex sLock;
std::string sLastError GUARDED_BY(sLock);
std::string sDemuxerError GUARDED_BY(sLock);
DecoderErrors sDecoderErrors GUARDED_BY(sLock);

AVClassCategory categoryOf(void* object) {
    const AVClass* type = object != nullptr ? *static_cast<AVClass**>(object) : nullptr;
    if (type == nullptr) return AV_CLASS_CATEGORY_NA;
    return type->get_category != nullptr ? type->get_category(object) : type->category;
}

std::string formatLine(const char* format, va_list arguments) {
    std::array<char, 1024> line;
    std::vsnprintf(line.data(), line.size(), format, arguments);
    std::string result(line.data());
    while (!result.empty() && (result.back() == '\n' || result.back() == '.'))
        result.pop_back();
    return result;
}

void keepError(void* object, const char* format, va_list arguments) {
    const std::string line = formatLine(format, arguments);
    if (line.empty()) return;
    const Mutex::Autolock lock(sLock);
    sLastError = line;
    const AVClassCategory category = categoryOf(object);
    if (category == AV_CLASS_CATEGORY_DEMUXER) sDemuxerError = line;
    if (category == AV_CLASS_CATEGORY_DECODER && sDecoderErrors.count++ == 0) {
        sDecoderErrors.first = line;
    }
}

void onAvLog(void* object, int level, const char* format, va_list arguments) {
    if (level <= AV_LOG_ERROR) {
        va_list kept;
        va_copy(kept, arguments);
        keepError(object, format, kept);
        va_end(kept);
    }
    if (sVerbose.load(std::memory_order_relaxed)) {
        av_log_default_callback(object, level, format, arguments);
    }
}

}  // namespace

std::string avErrorText(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> words{};
    av_strerror(error, words.data(), words.size());
    return words.data();
}

std::string avErrorWithLog(int error) {
    const Mutex::Autolock lock(sLock);
    std::string result = avErrorText(error);
    if (!sLastError.empty()) result += " (" + sLastError + ")";
    sLastError.clear();
    return result;
}

Status avStatus(int result) {
    return result < 0 ? Status::error(avErrorWithLog(result)) : Status();
}

std::string takeDemuxerError() {
    const Mutex::Autolock lock(sLock);
    return std::exchange(sDemuxerError, {});
}

DecoderErrors decoderErrors() {
    const Mutex::Autolock lock(sLock);
    return sDecoderErrors;
}

void captureAvLog(bool verbose) {
    sVerbose = verbose;
    av_log_set_callback(onAvLog);
}

}  // namespace plexa
