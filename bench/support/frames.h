// Frames of real size and content for the benchmarks.
#pragma once

#include <APipeBuffer.h>
#include <ui/GraphicBuffer.h>

#include <vector>

namespace plexa::bench {

struct Size {
    int width;
    int height;
};

/// The colour formats of one sample depth, and the graphics memory that goes with them.
struct Depth {
    android::APipeBuffer::ColorFormat linear;
    android::APipeBuffer::ColorFormat compressed;
    android::PixelFormat linearMemory;
    android::PixelFormat compressedMemory;
    size_t bytesPerSample;

    /// Of the picture, without padding.
    size_t frameBytes(Size size) const;
};
extern const Depth kNv12;
extern const Depth kP010;

/// Where a linear graphics buffer's samples are: luma, and interleaved Cb, Cr pairs in rows of the
/// same stride.
struct Planes {
    explicit Planes(const android::sp<android::GraphicBuffer>& buffer);
    uint8_t* y;
    uint8_t* uv;
    int stride;  // samples
};

using Buffers = std::vector<android::sp<android::APipeBuffer>>;

/// A format message, and an init message with "src" and "dst" made of two.
android::sp<android::AMessage> format(android::APipeBuffer::ColorFormat colorFormat, Size size);
android::sp<android::AMessage> formats(android::APipeBuffer::ColorFormat src, Size srcSize,
                                       android::APipeBuffer::ColorFormat dst, Size dstSize);

/// Heap buffers in NV12 with whatever they hold.
Buffers localBuffers(int count, Size size);

/// Graphics buffers with whatever they hold: linear ones, and in RGBA.
Buffers linearBuffers(int count, Size size, const Depth& depth = kNv12);
Buffers rgbaBuffers(int count, Size size);

/// Linear buffers with a picture: gradients with fine detail, another one in each frame.
Buffers linearFrames(int count, Size size, const Depth& depth = kNv12);

/// The same pictures in the compressed layout.
Buffers compressedFrames(int count, Size size, const Depth& depth = kNv12);

}  // namespace plexa::bench
