// Loading and driving the compute library's scaler.
#define LOG_TAG "AScalerCL"

#include "AScalerCL.h"

#include <dlfcn.h>
#include <utils/Log.h>

#include "APipeFormatReader.h"
#include "APipeGraphicPair.h"

namespace android {

namespace {

// The library's first argument of createScaler; no other value is in use.
constexpr int32_t kScalerKind = 1;

template <typename Entry>
bool findEntry(void* library, const char* name, Entry* entry) {
    *entry = reinterpret_cast<Entry>(dlsym(library, name));
    return *entry != nullptr;
}

}  // namespace

cl::common::CLColorFormat getCLColorFormat(APipeBuffer::ColorFormat format) {
    switch (format) {
        case APipeBuffer::Nv12:
            return cl::common::CL_COLOR_NV12;
        case APipeBuffer::P010:
            return cl::common::CL_COLOR_P010;
        case APipeBuffer::Nv12Venus:
            return cl::common::CL_COLOR_NV12_VENUS;
        case APipeBuffer::P010Venus:
            return cl::common::CL_COLOR_P010_VENUS;
        default:
            return static_cast<cl::common::CLColorFormat>(-1);
    }
}

AScalerCL::~AScalerCL() {
    clear();
}

status_t AScalerCL::init(const sp<AMessage>& msg) {
    clear();
    const APipeFormatReader formats(LOG_TAG, msg);
    int32_t srcFormat, dstFormat;
    status_t err = formats.readForEngine(&srcFormat, &dstFormat);
    if (err != OK) return err;
    APipeFormatReader::Size src, dst;
    if (!formats.findSrcSize(&src) || !formats.findDstSize(&dst)) return BAD_VALUE;
    if (dstFormat != srcFormat) {
        ALOGW("init dstColorFormat %d differs from srcColorFormat %d and is not used", dstFormat,
              srcFormat);
    }
    err = load();
    if (err != OK) return err;
    const auto code =
        static_cast<int32_t>(getCLColorFormat(static_cast<APipeBuffer::ColorFormat>(srcFormat)));
    mScaler = mCreate(kScalerKind, src.width, src.height, dst.width, dst.height, code, code);
    return mScaler != nullptr ? OK : UNKNOWN_ERROR;
}

status_t AScalerCL::load() {
    mLibrary = dlopen("libvexcolor.so", RTLD_NOW | RTLD_NODELETE);
    if (mLibrary == nullptr) {
        ALOGE("dlopen libvexcolor failed");
        return UNKNOWN_ERROR;
    }
    const bool complete = findEntry(mLibrary, "createScaler", &mCreate) &&
                          findEntry(mLibrary, "scale", &mScale) &&
                          findEntry(mLibrary, "destroyScaler", &mDestroy);
    return complete ? OK : UNKNOWN_ERROR;
}

status_t AScalerCL::scale(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) {
    if (mScaler == nullptr) {
        ALOGE("scale called before a successful init");
        return UNKNOWN_ERROR;
    }
    const APipeGraphicPair frames(LOG_TAG, "scale", input, output);
    if (!frames.isComplete()) return UNKNOWN_ERROR;
    return mScale(mScaler, frames.source(), frames.destination()) ? OK : UNKNOWN_ERROR;
}

void AScalerCL::deinit() {
    if (mLibrary != nullptr) {
        if (mDestroy != nullptr && mScaler != nullptr) mDestroy(mScaler);
        dlclose(mLibrary);
        mLibrary = nullptr;
    }
    mScaler = nullptr;
    mCreate = nullptr;
    mScale = nullptr;
    mDestroy = nullptr;
}

void AScalerCL::clear() {
    AScalerCL::deinit();
}

}  // namespace android
