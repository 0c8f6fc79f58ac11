// Scaling with libyuv called directly, on the caller's thread.
#include "support/libyuv_scale.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <libyuv/scale_uv.h>

namespace plexa::bench {

namespace {

constexpr int kBits = 16;

// libyuv's strides are in samples.
uint16_t* samples16(uint8_t* bytes) {
    return reinterpret_cast<uint16_t*>(bytes);
}

Size half(Size size) {
    return {size.width / 2, size.height / 2};
}

size_t area(Size size) {
    return static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
}

}  // namespace

LibyuvScale::LibyuvScale(const Depth& depth, Size from, Size to)
    : mIsNv12(depth.bytesPerSample == 1), mFrom(from), mTo(to) {
    if (mIsNv12) return;
    mCb.resize(area(half(from)));
    mCr = mCb;
    mScaledCb.resize(area(half(to)));
    mScaledCr = mScaledCb;
}

bool LibyuvScale::scale(const Planes& in, const Planes& out) {
    if (mIsNv12) return scaleNv12(in, out);
    scaleP010(in, out);
    return true;
}

bool LibyuvScale::scaleNv12(const Planes& in, const Planes& out) const {
    return libyuv::NV12Scale(in.y, in.stride, in.uv, in.stride, mFrom.width, mFrom.height, out.y,
                             out.stride, out.uv, out.stride, mTo.width, mTo.height,
                             libyuv::kFilterBox) == 0;
}

// libyuv scales no interleaved 16-bit chroma: it is taken apart and put together around it.
void LibyuvScale::scaleP010(const Planes& in, const Planes& out) {
    const Size from = half(mFrom), to = half(mTo);
    libyuv::ScalePlane_16(samples16(in.y), in.stride, mFrom.width, mFrom.height, samples16(out.y),
                          out.stride, mTo.width, mTo.height, libyuv::kFilterBox);
    libyuv::SplitUVPlane_16(samples16(in.uv), in.stride, mCb.data(), from.width, mCr.data(),
                            from.width, from.width, from.height, kBits);
    for (auto [plane, scaled] : {std::pair(&mCb, &mScaledCb), std::pair(&mCr, &mScaledCr)}) {
        libyuv::ScalePlane_16(plane->data(), from.width, from.width, from.height, scaled->data(),
                              to.width, to.width, to.height, libyuv::kFilterBox);
    }
    libyuv::MergeUVPlane_16(mScaledCb.data(), to.width, mScaledCr.data(), to.width,
                            samples16(out.uv), out.stride, to.width, to.height, kBits);
}

}  // namespace plexa::bench
