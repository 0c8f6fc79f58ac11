// The pixel work of the portrait stage: shrink, enlarge again, mix by the mask.
#define LOG_TAG "BackgroundBlur"

#include "BackgroundBlur.h"

#include <libyuv.h>
#include <utils/Log.h>

#include <algorithm>
#include <cstddef>

namespace android {

namespace {

Picture pictureIn(std::vector<uint8_t>& memory, int width, int height) {
    const int chromaWidth = (width + 1) / 2;
    const int chromaHeight = (height + 1) / 2;
    const auto luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    const auto chroma = static_cast<size_t>(chromaWidth) * static_cast<size_t>(chromaHeight);
    memory.resize(luma + 2 * chroma);
    uint8_t* const y = memory.data();
    return {y, y + luma, y + luma + chroma, width, chromaWidth, width, height};
}

void scale(const Picture& from, const Picture& to, libyuv::FilterMode filter) {
    libyuv::I420Scale(from.y, from.stride, from.cb, from.chromaStride, from.cr, from.chromaStride,
                      from.width, from.height, to.y, to.stride, to.cb, to.chromaStride, to.cr,
                      to.chromaStride, to.width, to.height, filter);
}

void blend(const Picture& front, const Picture& back, const Picture& mask, const Picture& to) {
    libyuv::I420Blend(front.y, front.stride, front.cb, front.chromaStride, front.cr,
                      front.chromaStride, back.y, back.stride, back.cb, back.chromaStride, back.cr,
                      back.chromaStride, mask.y, mask.stride, to.y, to.stride, to.cb,
                      to.chromaStride, to.cr, to.chromaStride, to.width, to.height);
}

}  // namespace

status_t BackgroundBlur::run(const sp<APipeBuffer>& frame, const sp<APipeBuffer>& mask,
                             int32_t radius, const sp<APipeBuffer>& output) {
    for (const sp<APipeBuffer>& buffer : {frame, mask, output}) {
        if (Picture::of(buffer).isOf(mWidth, mHeight)) continue;
        ALOGE("run() wants Yuv420p buffers of %d x %d", mWidth, mHeight);
        return BAD_VALUE;
    }
    // A pixel of the small picture is the mean of a box with `radius` pixels on each side.
    const int32_t box = 2 * std::min(radius, std::max(mWidth, mHeight)) + 1;
    const Picture small = pictureIn(mSmall, std::max(mWidth / box, 1), std::max(mHeight / box, 1));
    const Picture blurred = pictureIn(mBlurred, mWidth, mHeight);
    scale(Picture::of(frame), small, libyuv::kFilterBox);
    scale(small, blurred, libyuv::kFilterBilinear);
    blend(Picture::of(frame), blurred, Picture::of(mask), Picture::of(output));
    return OK;
}

}  // namespace android
