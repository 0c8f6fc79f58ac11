// Decompressing through the compute library.
#define LOG_TAG "ZelFrameCaptureLayer"

#include "LinearSource.h"

#include <hardware/gralloc.h>
#include <utils/Log.h>

namespace android::capture {
namespace {

using namespace cl::common;

// The compute library's result for success, and the last argument of its set-up.
constexpr int32_t kDone = 1;
constexpr int32_t kSetUpMode = 3;
// A capture stands alone: it may have every core.
constexpr int32_t kEveryCore = 2;

constexpr bool isTenBit(PixelFormat compressed) {
    return compressed == HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED;
}

constexpr bool isCompressed(PixelFormat format) {
    return isTenBit(format) || format == HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED;
}

std::unique_ptr<cl::converter::CLConverter> makeConverter(const GraphicBuffer& source) {
    const bool deep = isTenBit(source.getPixelFormat());
    std::unique_ptr<cl::converter::CLConverter> converter(cl::converter::CLConverter::Create(
        deep ? CL_COLOR_TP10_COMPRESSED : CL_COLOR_NV12_COMPRESSED,
        deep ? CL_COLOR_P010 : CL_COLOR_NV12));
    if (converter == nullptr) return nullptr;
    const int64_t width = source.getWidth();
    const int64_t height = source.getHeight();
    if (converter->setup(width, height, width, height, kSetUpMode) != kDone) return nullptr;
    converter->setPerfHint(kEveryCore);
    return converter;
}

}  // namespace

LinearSource::~LinearSource() {
    release();
}

void LinearSource::release() {
    if (mConverter != nullptr) mConverter->release();
    mConverter.reset();
    mLinear.clear();
}

status_t LinearSource::prepare(const sp<GraphicBuffer>& source) {
    if (mLinear != nullptr && mSourceFormat == source->getPixelFormat() &&
        mLinear->getBounds() == source->getBounds()) {
        return OK;
    }
    release();
    mSourceFormat = source->getPixelFormat();
    mConverter = makeConverter(*source);
    if (mConverter == nullptr) {
        ALOGE("compressed %ux%u source: no converter", source->getWidth(), source->getHeight());
        return UNKNOWN_ERROR;
    }
    const PixelFormat format =
        isTenBit(mSourceFormat) ? HAL_PIXEL_FORMAT_YCBCR_P010 : HAL_PIXEL_FORMAT_YCbCr_420_SP;
    mLinear = sp<GraphicBuffer>::make(source->getWidth(), source->getHeight(), format, 1U,
                                      GRALLOC_USAGE_SW_READ_OFTEN, LOG_TAG);
    if (mLinear->initCheck() == OK) return OK;
    release();
    return NO_MEMORY;
}

status_t LinearSource::get(const sp<GraphicBuffer>& source, sp<GraphicBuffer>* linear) {
    if (!isCompressed(source->getPixelFormat())) {
        *linear = source;
        return OK;
    }
    if (const status_t status = prepare(source); status != OK) return status;
    if (mConverter->convert(source, mLinear) != kDone) {
        ALOGE("compressed source could not be read");
        return UNKNOWN_ERROR;
    }
    *linear = mLinear;
    return OK;
}

}  // namespace android::capture
