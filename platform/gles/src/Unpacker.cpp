// Unpacker: driving libvexcolor.
#define LOG_TAG "PlexaGles"

#include "Unpacker.h"

#include <hardware/gralloc.h>
#include <log/log.h>
#include <system/graphics.h>

namespace android::host {
namespace {

using cl::converter::CLConverter;

constexpr int32_t kDone = 1;
constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;

bool isTenBit(PixelFormat compressed) {
    return compressed == HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED;
}

CLConverter* createConverter(PixelFormat compressed) {
    return isTenBit(compressed) ? CLConverter::Create(cl::common::CL_COLOR_TP10_COMPRESSED,
                                                      cl::common::CL_COLOR_P010_VENUS)
                                : CLConverter::Create(cl::common::CL_COLOR_NV12_COMPRESSED,
                                                      cl::common::CL_COLOR_NV12_VENUS);
}

}  // namespace

Unpacker::~Unpacker() {
    release();
}

const GraphicBuffer* Unpacker::unpack(const sp<GraphicBuffer>& compressed) {
    if (!isSetUpFor(*compressed) && !setUpFor(*compressed)) {
        ALOGE("cannot unpack a buffer of format %#x, %ux%u", compressed->getPixelFormat(),
              compressed->getWidth(), compressed->getHeight());
        release();
        return nullptr;
    }
    // It has logged the cause.
    return mConverter->convert(compressed, mLinear) == kDone ? mLinear.get() : nullptr;
}

bool Unpacker::isSetUpFor(const GraphicBuffer& compressed) const {
    return mConverter != nullptr && mFormat == compressed.getPixelFormat() &&
           mLinear->getWidth() == compressed.getWidth() &&
           mLinear->getHeight() == compressed.getHeight();
}

bool Unpacker::setUpFor(const GraphicBuffer& compressed) {
    release();
    const uint32_t width = compressed.getWidth();
    const uint32_t height = compressed.getHeight();
    mFormat = compressed.getPixelFormat();
    mConverter.reset(createConverter(mFormat));
    if (mConverter == nullptr || mConverter->setup(width, height, width, height, 0) != kDone) {
        return false;
    }
    const PixelFormat linear = isTenBit(mFormat) ? PixelFormat{HAL_PIXEL_FORMAT_YCBCR_P010}
                                                 : PixelFormat{HAL_PIXEL_FORMAT_YCbCr_420_SP};
    mLinear = new GraphicBuffer(width, height, linear, 1, kUsage, "GPU");
    return mLinear->initCheck() == OK;
}

void Unpacker::release() {
    if (mConverter == nullptr) return;
    mConverter->release();
    mConverter.reset();
    mLinear.clear();
}

}  // namespace android::host
