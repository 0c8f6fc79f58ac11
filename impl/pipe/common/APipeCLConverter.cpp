// Driving the compute library's converter.
#define LOG_TAG "APipeCLConverter"

#include "APipeCLConverter.h"

#include <utils/Log.h>

#include "APipeFormatReader.h"
#include "APipeGraphicPair.h"

namespace android {

namespace {

// The last argument of the library's set-up; no other value is in use.
constexpr int32_t kSetUpMode = 3;
// What the library's calls return for success.
constexpr int32_t kDone = 1;

bool isSupportedDestination(int32_t format) {
    return format == APipeBuffer::Nv12Venus || format == APipeBuffer::Nv12Ubwc ||
           format == APipeBuffer::Tp10Ubwc || format == APipeBuffer::P010Venus;
}

cl::common::CLColorFormat codeOf(int32_t format) {
    return getConverterColorFormat(static_cast<APipeBuffer::ColorFormat>(format));
}

}  // namespace

cl::common::CLColorFormat getConverterColorFormat(APipeBuffer::ColorFormat format) {
    switch (format) {
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return cl::common::CL_COLOR_P010_VENUS;
        case APipeBuffer::Nv12Ubwc:
            return cl::common::CL_COLOR_NV12_COMPRESSED;
        case APipeBuffer::Tp10Ubwc:
            return cl::common::CL_COLOR_TP10_COMPRESSED;
        default:
            return cl::common::CL_COLOR_NV12_VENUS;
    }
}

APipeCLConverter::~APipeCLConverter() {
    clear();
}

status_t APipeCLConverter::init(const sp<AMessage>& msg) {
    clear();
    const APipeFormatReader formats(LOG_TAG, msg);
    int32_t srcFormat, dstFormat;
    status_t err = formats.readForEngine(&srcFormat, &dstFormat);
    if (err != OK) return err;
    ALOGI("srcColorFormat %d, dstColorFormat %d", srcFormat, dstFormat);
    if (!isSupportedDestination(dstFormat)) {
        ALOGE("init dstColorFormat %d is not supported", dstFormat);
        return UNKNOWN_ERROR;
    }
    APipeFormatReader::Size size;
    if (!formats.findSrcSize(&size)) return BAD_VALUE;
    mConverter.reset(cl::converter::CLConverter::Create(codeOf(srcFormat), codeOf(dstFormat)));
    if (mConverter == nullptr) return UNKNOWN_ERROR;
    if (mConverter->setup(size.width, size.height, size.width, size.height, kSetUpMode) == kDone) {
        return OK;
    }
    clear();
    return UNKNOWN_ERROR;
}

status_t APipeCLConverter::convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) {
    if (mConverter == nullptr) {
        ALOGE("convert called before a successful init");
        return UNKNOWN_ERROR;
    }
    const APipeGraphicPair frames(LOG_TAG, "convert", input, output);
    if (!frames.isComplete()) return UNKNOWN_ERROR;
    return mConverter->convert(frames.source(), frames.destination()) == kDone ? OK : UNKNOWN_ERROR;
}

void APipeCLConverter::reset() {
    clear();
}

void APipeCLConverter::clear() {
    if (mConverter == nullptr) return;
    mConverter->release();
    mConverter.reset();
}

void APipeCLConverter::setPerfHint(PerfHint hint) {
    if (mConverter == nullptr) {
        ALOGE("setPerfHint CLConvert is nullptr");
        return;
    }
    if (hint == mPerfHint) return;
    PerfHint passed = hint;
    if (static_cast<uint32_t>(hint) > kPerfHintHigh) {
        ALOGI("setPerfHint set wrong hint, use normal perf");
        passed = kPerfHintNormal;
    }
    mConverter->setPerfHint(passed);
    mPerfHint = hint;
}

}  // namespace android
