// Reads what an init message says about the source and the destination frames.
#include "APipeFormatReader.h"

#include <android/log.h>

namespace android {

APipeFormatReader::APipeFormatReader(const char* tag, const sp<AMessage>& msg) : mTag(tag) {
    if (msg == nullptr) return;
    msg->findMessage("src", &mSrc);
    msg->findMessage("dst", &mDst);
}

bool APipeFormatReader::readForStage(int32_t* srcColorFormat, int32_t* dstColorFormat) const {
    if (!hasBoth()) {
        logError("src or dst not exist");
        return false;
    }
    const bool found = findColorFormats(srcColorFormat, dstColorFormat);
    if (!found) logError("color format couldn't be found");
    return found;
}

status_t APipeFormatReader::readForEngine(int32_t* srcColorFormat, int32_t* dstColorFormat) const {
    if (!hasBoth()) {
        logError("init src or dst not exist");
        return BAD_VALUE;
    }
    if (!findColorFormats(srcColorFormat, dstColorFormat)) {
        logError("init colorformat couldn't be found");
        return UNKNOWN_ERROR;
    }
    return OK;
}

bool APipeFormatReader::findColorFormats(int32_t* src, int32_t* dst) const {
    return mSrc->findInt32("colorformat", src) && mDst->findInt32("colorformat", dst);
}

bool APipeFormatReader::findSize(const sp<AMessage>& format, const char* name, Size* size) const {
    return findLength(format, name, "width", &size->width) &&
           findLength(format, name, "height", &size->height);
}

bool APipeFormatReader::findLength(const sp<AMessage>& format, const char* name, const char* key,
                                   int32_t* length) const {
    if (!format->findInt32(key, length)) {
        __android_log_print(ANDROID_LOG_ERROR, mTag, "\"%s\" of \"%s\" couldn't be found", key,
                            name);
        return false;
    }
    if (*length < 1) {
        __android_log_print(ANDROID_LOG_ERROR, mTag, "\"%s\" of \"%s\" is %d, below 1", key, name,
                            *length);
        return false;
    }
    return true;
}

void APipeFormatReader::logError(const char* text) const {
    __android_log_print(ANDROID_LOG_ERROR, mTag, "%s", text);
}

}  // namespace android
