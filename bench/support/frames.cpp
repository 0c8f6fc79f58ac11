// Frames of real size and content for the benchmarks.
#include "support/frames.h"

#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

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

// Slopes with noise on top: no two tiles alike, so that nothing is compressed away.
void paint(const sp<APipeBuffer>& buffer, int seed) {
    uint8_t* luma = nullptr;
    uint8_t* cb = nullptr;
    uint8_t* cr = nullptr;
    require(buffer->getYCbCr(&luma, &cb, &cr) == OK, "a frame for the benchmark has no planes");
    uint32_t noise = 0x9e3779b9U * static_cast<uint32_t>(seed + 1);
    const auto next = [&noise] {
        return static_cast<uint8_t>((noise = noise * 1664525U + 1013904223U) >> 27);
    };
    const int stride = buffer->getStride();
    for (int y = 0; y < buffer->getHeight(); ++y) {
        for (int x = 0; x < buffer->getWidth(); ++x)
            luma[y * stride + x] =
                static_cast<uint8_t>(16 + (x + y + 8 * seed) / 32 % 200 + next());
    }
    for (int y = 0; y < (buffer->getHeight() + 1) / 2; ++y) {
        for (int x = 0; x < buffer->getWidth(); ++x)
            cb[y * stride + x] = static_cast<uint8_t>(100 + (x + 3 * y) / 64 % 50 + next());
    }
}

}  // namespace

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

Buffers linearBuffers(int count, Size size) {
    Buffers buffers;
    for (int i = 0; i < count; ++i)
        buffers.push_back(
            newBuffer(APipeBuffer::Nv12Venus, HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, size));
    return buffers;
}

Buffers rgbaBuffers(int count, Size size) {
    Buffers buffers;
    for (int i = 0; i < count; ++i)
        buffers.push_back(newBuffer(APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, size));
    return buffers;
}

Buffers linearFrames(int count, Size size) {
    Buffers frames = linearBuffers(count, size);
    for (int i = 0; i < count; ++i)
        paint(frames[static_cast<size_t>(i)], i);
    return frames;
}

Buffers compressedFrames(int count, Size size) {
    const auto engine = APipeConverter::Create(APipeConverter::kTypeCL);
    require(engine->init(formats(APipeBuffer::Nv12Venus, size, APipeBuffer::Nv12Ubwc, size)) == OK,
            "the compressor for the benchmark did not start");
    Buffers frames;
    for (const sp<APipeBuffer>& linear : linearFrames(count, size)) {
        frames.push_back(
            newBuffer(APipeBuffer::Nv12Ubwc, HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED, size));
        require(engine->convert(linear, frames.back()) == OK, "a frame could not be compressed");
    }
    return frames;
}

}  // namespace plexa::bench
