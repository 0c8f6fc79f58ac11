// Frames of real size and content for the benchmarks.
#include "support/frames.h"

#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <host/GraphicBufferPixels.h>
#include <system/graphics.h>

#include <cstdio>
#include <cstdlib>

namespace plexa::bench {

using namespace android;

namespace {

constexpr uint64_t kCpuUsage = 0x33;

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

sp<APipeBuffer> newBuffer(APipeBuffer::ColorFormat colorFormat, int halFormat, Size size) {
    const sp<GraphicBuffer> graphic =
        new GraphicBuffer(static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height),
                          halFormat, 1, kCpuUsage, "bench");
    sp<APipeBuffer> buffer = APipeBufferFactory::Create(
        colorFormat, size.width, size.height, graphic, nullptr, APipeBuffer::GraphicMemory, -1, -1);
    require(buffer->init() == OK, "a buffer for the benchmark could not be made");
    return buffer;
}

// Slopes with noise on top: no two tiles alike, so that nothing is compressed away. Ten bits lie in
// the high bits of a sample.
template <typename Sample>
void paint(const Planes& planes, Size size, int seed) {
    constexpr int kShift = 8 * (sizeof(Sample) - 1);
    uint32_t noise = 0x9e3779b9U * static_cast<uint32_t>(seed + 1);
    const auto next = [&noise] {
        return static_cast<int>((noise = noise * 1664525U + 1013904223U) >> 27);
    };
    const auto put = [](uint8_t* row, int x, int value) {
        reinterpret_cast<Sample*>(row)[x] = static_cast<Sample>(value << kShift);
    };
    const auto rowBytes = static_cast<ptrdiff_t>(sizeof(Sample)) * planes.stride;
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x)
            put(planes.y + y * rowBytes, x, 16 + (x + y + 8 * seed) / 32 % 200 + next());
    }
    for (int y = 0; y < (size.height + 1) / 2; ++y) {
        for (int x = 0; x < size.width; ++x)
            put(planes.uv + y * rowBytes, x, 100 + (x + 3 * y) / 64 % 50 + next());
    }
}

}  // namespace

const Depth kNv12 = {APipeBuffer::Nv12Venus, APipeBuffer::Nv12Ubwc,
                     HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED,
                     sizeof(uint8_t)};
const Depth kP010 = {APipeBuffer::P010Venus, APipeBuffer::Tp10Ubwc, HAL_PIXEL_FORMAT_YCBCR_P010,
                     HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED, sizeof(uint16_t)};

size_t Depth::frameBytes(Size size) const {
    return static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3 / 2 *
           bytesPerSample;
}

Planes::Planes(const sp<GraphicBuffer>& buffer) {
    const auto pixels = host::pixelsOf(*buffer);
    y = pixels->base + pixels->layout.y.offset;
    uv = pixels->base + pixels->layout.cb.offset;
    stride = static_cast<int>(pixels->layout.stridePixels);
}

sp<AMessage> format(APipeBuffer::ColorFormat colorFormat, Size size) {
    sp<AMessage> message = new AMessage;
    message->setInt32("colorformat", colorFormat);
    message->setInt32("width", size.width);
    message->setInt32("height", size.height);
    return message;
}

sp<AMessage> formats(APipeBuffer::ColorFormat src, Size srcSize, APipeBuffer::ColorFormat dst,
                     Size dstSize) {
    sp<AMessage> message = new AMessage;
    message->setMessage("src", format(src, srcSize));
    message->setMessage("dst", format(dst, dstSize));
    return message;
}

Buffers localBuffers(int count, Size size) {
    Buffers buffers;
    for (int i = 0; i < count; ++i) {
        buffers.push_back(APipeBufferFactory::Create(APipeBuffer::Nv12, size.width, size.height,
                                                     nullptr, nullptr, APipeBuffer::LocalMemory, -1,
                                                     -1));
        require(buffers.back()->init() == OK, "a buffer for the benchmark could not be made");
    }
    return buffers;
}

Buffers linearBuffers(int count, Size size, const Depth& depth) {
    Buffers buffers;
    for (int i = 0; i < count; ++i)
        buffers.push_back(newBuffer(depth.linear, depth.linearMemory, size));
    return buffers;
}

Buffers rgbaBuffers(int count, Size size) {
    Buffers buffers;
    for (int i = 0; i < count; ++i)
        buffers.push_back(newBuffer(APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, size));
    return buffers;
}

Buffers linearFrames(int count, Size size, const Depth& depth) {
    Buffers frames = linearBuffers(count, size, depth);
    for (int i = 0; i < count; ++i) {
        const Planes planes(frames[static_cast<size_t>(i)]->getGraphicBuffer());
        if (depth.bytesPerSample == 1) {
            paint<uint8_t>(planes, size, i);
        } else {
            paint<uint16_t>(planes, size, i);
        }
    }
    return frames;
}

Buffers compressedFrames(int count, Size size, const Depth& depth) {
    const auto engine = APipeConverter::Create(APipeConverter::kTypeCL);
    require(engine->init(formats(depth.linear, size, depth.compressed, size)) == OK,
            "the compressor for the benchmark did not start");
    Buffers frames;
    for (const sp<APipeBuffer>& linear : linearFrames(count, size, depth)) {
        frames.push_back(newBuffer(depth.compressed, depth.compressedMemory, size));
        require(engine->convert(linear, frames.back()) == OK, "a frame could not be compressed");
    }
    return frames;
}

}  // namespace plexa::bench
