// Frames of real size and content for the benchmarks.
#pragma once

#include <APipeBuffer.h>

#include <vector>

namespace plexa::bench {

struct Size {
    int width;
    int height;
};

using Buffers = std::vector<android::sp<android::APipeBuffer>>;

/// A format message, and an init message with "src" and "dst" made of two.
android::sp<android::AMessage> format(android::APipeBuffer::ColorFormat colorFormat, Size size);
android::sp<android::AMessage> formats(android::APipeBuffer::ColorFormat src, Size srcSize,
                                       android::APipeBuffer::ColorFormat dst, Size dstSize);

/// Heap buffers in NV12 with whatever they hold.
Buffers localBuffers(int count, Size size);

/// Graphics buffers in linear 8-bit NV12 with whatever they hold.
Buffers linearBuffers(int count, Size size);

/// Graphics buffers in RGBA with whatever they hold.
Buffers rgbaBuffers(int count, Size size);

/// Linear buffers with a picture: gradients with fine detail, another one in each frame.
Buffers linearFrames(int count, Size size);

/// The same pictures in the compressed layout.
Buffers compressedFrames(int count, Size size);

}  // namespace plexa::bench
