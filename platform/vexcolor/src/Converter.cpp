// Converter: which buffers, which bands, which threads.
#define LOG_TAG "CLConverter"
#include "Converter.h"

#include <libyuv/planar_functions.h>
#include <log/log.h>

#include <algorithm>
#include <thread>

namespace cl::converter {
namespace {

constexpr int32_t kSuccess = 1;
constexpr int32_t kFailure = 0;

enum PerfHint : int32_t { kCallerOnly = 0, kNormal = 1, kEveryCore = 2 };

// Above this, a frame's neighbours in the chain push it out of the caches before it is read again,
// and streaming decompresses up to twice as fast; below, the next stage would miss what was
// streamed. A stage has two frames of output: both fit into a last-level cache of 32 MiB.
constexpr size_t kStreamedFrameBytes = size_t{16} << 20;

// What one thread moves in the time that it takes to wake another one.
constexpr size_t kBytesPerThread = size_t{2} << 20;

uint32_t threadsFor(int32_t hint) {
    const uint32_t cores = std::max(std::thread::hardware_concurrency(), 1U);
    switch (hint) {
        case kCallerOnly:
            return 1;
        case kEveryCore:
            return cores;
        default:
            return std::clamp(cores / 4, 1U, 4U);
    }
}

void copyPlane(const Plane& from, const Plane& to) {
    libyuv::CopyPlane(from.data, static_cast<int>(from.stride), to.data,
                      static_cast<int>(to.stride), static_cast<int>(to.rowBytes()),
                      static_cast<int>(to.height));
}

}  // namespace

Converter::Converter(FrameFormat src, FrameFormat dst) : mSrc(src), mDst(dst) {}

int32_t Converter::setup(int64_t srcWidth, int64_t srcHeight, int64_t dstWidth, int64_t dstHeight,
                         int32_t /*mode*/) {
    mSize = frameSizeOf(srcWidth, srcHeight);
    if (mSize != frameSizeOf(dstWidth, dstHeight)) mSize.reset();
    if (!mSize) {
        ALOGE("setup: cannot convert %lldx%lld to %lldx%lld", static_cast<long long>(srcWidth),
              static_cast<long long>(srcHeight), static_cast<long long>(dstWidth),
              static_cast<long long>(dstHeight));
        return kFailure;
    }
    chooseThreads();
    return kSuccess;
}

int32_t Converter::convert(const Buffer& input, const Buffer& output) {
    if (!mSize) {
        ALOGE("convert: nothing is set up");
        return kFailure;
    }
    if (input != nullptr && input == output) {
        ALOGE("convert: input and output are one buffer");
        return kFailure;
    }
    const bool done = mSrc.compressed   ? decompress(input, output)
                      : mDst.compressed ? compress(input, output)
                                        : copy(input, output);
    return done ? kSuccess : kFailure;
}

void Converter::release() {
    mRunner.setThreads(1);
    mSize.reset();
}

void Converter::setPerfHint(int32_t hint) {
    if (hint < kCallerOnly || hint > kEveryCore) {
        ALOGW("setPerfHint: %d is no hint, taken as normal", hint);
        hint = kNormal;
    }
    mHint = hint;
    if (mSize) chooseThreads();
}

bool Converter::decompress(const Buffer& input, const Buffer& output) {
    const auto from = expected("input", mSrc).openCompressed(input);
    const auto to = expected("output", mDst).openLinear(output);
    if (!from || !to) return false;

    const TileCodec& codec = TileCodec::forSamplesOf(mSrc.bytesPerSample);
    const bool done = runTileRows(*from, [&](size_t plane, uint32_t row) {
        return codec.decodeRow((*from)[plane], (*to)[plane], row, store());
    });
    if (!done) ALOGE("convert: the input's tile metadata is damaged");
    return done;
}

bool Converter::compress(const Buffer& input, const Buffer& output) {
    const auto from = expected("input", mSrc).openLinear(input);
    const auto to = expected("output", mDst).openCompressed(output);
    if (!from || !to) return false;

    const TileCodec& codec = TileCodec::forSamplesOf(mSrc.bytesPerSample);
    return runTileRows(*to, [&](size_t plane, uint32_t row) {
        codec.encodeRow((*from)[plane], (*to)[plane], row, store());
        return true;
    });
}

bool Converter::copy(const Buffer& input, const Buffer& output) {
    const auto from = expected("input", mSrc).openLinear(input);
    const auto to = expected("output", mDst).openLinear(output);
    if (!from || !to) return false;
    for (size_t plane = 0; plane < from->size(); ++plane)
        copyPlane((*from)[plane], (*to)[plane]);
    return true;
}

FrameBuffer Converter::expected(const char* role, FrameFormat format) const {
    return {.tag = LOG_TAG, .role = role, .format = format, .size = *mSize};
}

size_t Converter::frameBytes() const {
    return size_t{mSize->width} * mSize->height * mSrc.bytesPerSample * 3 / 2;
}

TileCodec::Store Converter::store() const {
    return frameBytes() < kStreamedFrameBytes ? TileCodec::Store::Cached
                                              : TileCodec::Store::Streaming;
}

void Converter::chooseThreads() {
    const size_t useful = std::max<size_t>(frameBytes() / kBytesPerThread, 1);
    mRunner.setThreads(static_cast<uint32_t>(std::min<size_t>(threadsFor(mHint), useful)));
}

template <typename RowWork>
bool Converter::runTileRows(const CompressedFrame& frame, const RowWork& work) {
    const uint32_t lumaRows = frame[0].layout.tilesY;
    const uint32_t chromaRows = frame[1].layout.tilesY;
    const auto band = [&](uint32_t row) {
        return row < lumaRows ? work(0, row) : work(1, row - lumaRows);
    };
    // By reference, for which the function object needs no heap.
    return mRunner.run(lumaRows + chromaRows, std::cref(band));
}

}  // namespace cl::converter
