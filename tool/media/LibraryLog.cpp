// What the stages and their engines say, as text for the user.
#include "media/LibraryLog.h"

#include <android/log.h>
#include <utils/Mutex.h>

namespace plexa {

using android::Mutex;

namespace {

Mutex sLock;
std::string sFirstError GUARDED_BY(sLock);

void keepError(const __android_log_message* message) {
    if (message->priority < ANDROID_LOG_ERROR) return;
    const Mutex::Autolock lock(sLock);
    if (!sFirstError.empty()) return;
    sFirstError = message->tag != nullptr ? std::string(message->tag) + ": " : "";
    sFirstError += message->message;
}

void keepErrorAndPrint(const __android_log_message* message) {
    keepError(message);
    __android_log_stderr_logger(message);
}

}  // namespace

void captureLibraryLog(bool verbose) {
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_INFO : ANDROID_LOG_ERROR);
    __android_log_set_logger(verbose ? keepErrorAndPrint : keepError);
}

void forgetLibraryError() {
    const Mutex::Autolock lock(sLock);
    sFirstError.clear();
}

std::string withLibraryError(std::string text) {
    const Mutex::Autolock lock(sLock);
    if (!sFirstError.empty()) text += " (" + sFirstError + ")";
    return text;
}

}  // namespace plexa
