// Reads what an init message says about the source and the destination frames.
#include "APipeFormatReader.h"

#include <android/log.h>

namespace android {

APipeFormatReader::APipeFormatReader(const char* tag, const sp<AMessage>& msg) : mTag(tag) {
    if (msg == nullptr) return;
    msg->findMessage("src", &mSrc);
    msg->findMessage("dst", &mDst);
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

}  // namespace android
