// ZimgScaler: a graph for one component, and chroma taken apart and put together around it.
#define LOG_TAG "CLScaler"
#include "ZimgScaler.h"

#include <libyuv/planar_functions.h>
#include <log/log.h>

#include <algorithm>

namespace cl {
namespace {

using android::host::alignForZimg;
using android::host::allocateForZimg;

constexpr unsigned kBilinearRadius = 1;

// Of 16-bit samples that libyuv need not shift.
constexpr int kDepth16 = 16;

// Some of zimg's kernels write rows in such pieces, whatever the width.
constexpr bool isWhole(size_t rowBytes) {
    return rowBytes == alignForZimg(rowBytes);
}

zimg_image_format formatOf(FrameSize size, uint32_t bytesPerSample) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = size.width;
    format.height = size.height;
    format.pixel_type = bytesPerSample == 1 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    format.depth = 8 * bytesPerSample;
    format.color_family = ZIMG_COLOR_GREY;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

// Rounds to 10 bits and clears the rest.
void roundToTenBits(const Plane& plane) {
    constexpr uint16_t half = 1 << 5, kept = 0xFFC0;
    const size_t samples = plane.rowBytes() / sizeof(uint16_t);
    for (uint32_t y = 0; y < plane.height; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(plane.row(y));
        for (size_t x = 0; x < samples; ++x) {
            row[x] = static_cast<uint16_t>(std::min<uint16_t>(row[x], 0xFFFF - half) + half) & kept;
        }
    }
}

uint16_t* samples16(uint8_t* bytes) {
    return reinterpret_cast<uint16_t*>(bytes);
}

int stride16(size_t bytes) {
    return static_cast<int>(bytes / sizeof(uint16_t));
}

}  // namespace

std::unique_ptr<ZimgScaler> ZimgScaler::make(FrameSize from, FrameSize to, PlaneKind kind) {
    std::unique_ptr<ZimgScaler> scaler(new ZimgScaler(kind));
    if (!scaler->buildGraph(from, to)) return nullptr;
    if (!scaler->allocate(from, to)) {
        ALOGE("createScaler: out of memory");
        return nullptr;
    }
    return scaler;
}

bool ZimgScaler::scale(const Plane& from, const Plane& to) {
    const bool done = mKind.samplesPerUnit == 1 ? scaleLuma(from, to) : scaleChroma(from, to);
    if (done && mKind.bytesPerSample == 2) roundToTenBits(to);
    return done;
}

bool ZimgScaler::buildGraph(FrameSize from, FrameSize to) {
    const zimg_image_format source = formatOf(from, mKind.bytesPerSample);
    const zimg_image_format target = formatOf(to, mKind.bytesPerSample);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = ZIMG_RESIZE_BILINEAR;
    params.dither_type = ZIMG_DITHER_NONE;
    params.cpu_type = android::host::zimgKernelsFor(from.width, to.width, kBilinearRadius);
    mGraph.reset(zimg_filter_graph_build(&source, &target, &params));
    if (mGraph != nullptr) return true;

    char cause[256] = "";
    zimg_get_last_error(cause, sizeof(cause));
    ALOGE("createScaler: no kernel for %ux%u to %ux%u: %s", from.width, from.height, to.width,
          to.height, cause);
    return false;
}

bool ZimgScaler::allocate(FrameSize from, FrameSize to) {
    size_t bytes = 0;
    zimg_filter_graph_get_tmp_size(mGraph.get(), &bytes);
    mScratch = allocateForZimg(bytes);
    if (mScratch == nullptr) return false;
    const uint32_t sample = mKind.bytesPerSample;
    if (mKind.samplesPerUnit == 1) {
        return isWhole(size_t{to.width} * sample) || mTo[0].allocate(to, sample);
    }
    return mFrom[0].allocate(from, sample) && mFrom[1].allocate(from, sample) &&
           mTo[0].allocate(to, sample) && mTo[1].allocate(to, sample);
}

bool ZimgScaler::Component::allocate(FrameSize size, uint32_t bytesPerSample) {
    stride = alignForZimg(size_t{size.width} * bytesPerSample);
    memory = allocateForZimg(stride * size.height);
    return memory != nullptr;
}

bool ZimgScaler::process(const uint8_t* from, size_t fromStride, uint8_t* to, size_t toStride) {
    zimg_image_buffer_const source = {.version = ZIMG_API_VERSION, .plane = {}};
    source.plane[0] = {from, static_cast<ptrdiff_t>(fromStride), ZIMG_BUFFER_MAX};
    zimg_image_buffer target = {.version = ZIMG_API_VERSION, .plane = {}};
    target.plane[0] = {to, static_cast<ptrdiff_t>(toStride), ZIMG_BUFFER_MAX};
    return zimg_filter_graph_process(mGraph.get(), &source, &target, mScratch.get(), nullptr,
                                     nullptr, nullptr, nullptr) == ZIMG_ERROR_SUCCESS;
}

bool ZimgScaler::scaleLuma(const Plane& from, const Plane& to) {
    if (mTo[0].memory == nullptr) return process(from.data, from.stride, to.data, to.stride);
    if (!process(from.data, from.stride, mTo[0].memory.get(), mTo[0].stride)) return false;
    libyuv::CopyPlane(mTo[0].memory.get(), static_cast<int>(mTo[0].stride), to.data,
                      static_cast<int>(to.stride), static_cast<int>(to.rowBytes()),
                      static_cast<int>(to.height));
    return true;
}

bool ZimgScaler::scaleChroma(const Plane& from, const Plane& to) {
    takeApart(from);
    for (size_t i = 0; i < 2; ++i) {
        if (!process(mFrom[i].memory.get(), mFrom[i].stride, mTo[i].memory.get(), mTo[i].stride)) {
            return false;
        }
    }
    putTogether(to);
    return true;
}

void ZimgScaler::takeApart(const Plane& from) {
    const auto width = static_cast<int>(from.width), height = static_cast<int>(from.height);
    auto& [cb, cr] = mFrom;
    if (mKind.bytesPerSample == 1) {
        libyuv::SplitUVPlane(from.data, static_cast<int>(from.stride), cb.memory.get(),
                             static_cast<int>(cb.stride), cr.memory.get(),
                             static_cast<int>(cr.stride), width, height);
    } else {
        libyuv::SplitUVPlane_16(samples16(from.data), stride16(from.stride),
                                samples16(cb.memory.get()), stride16(cb.stride),
                                samples16(cr.memory.get()), stride16(cr.stride), width, height,
                                kDepth16);
    }
}

void ZimgScaler::putTogether(const Plane& to) {
    const auto width = static_cast<int>(to.width), height = static_cast<int>(to.height);
    auto& [cb, cr] = mTo;
    if (mKind.bytesPerSample == 1) {
        libyuv::MergeUVPlane(cb.memory.get(), static_cast<int>(cb.stride), cr.memory.get(),
                             static_cast<int>(cr.stride), to.data, static_cast<int>(to.stride),
                             width, height);
    } else {
        libyuv::MergeUVPlane_16(samples16(cb.memory.get()), stride16(cb.stride),
                                samples16(cr.memory.get()), stride16(cr.stride), samples16(to.data),
                                stride16(to.stride), width, height, kDepth16);
    }
}

}  // namespace cl
