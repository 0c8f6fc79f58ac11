// GlFrames: frames and formats for the GPU converter.
#pragma once

#include <media/stagefright/foundation/AMessage.h>

#include "APipeBuffer.h"
#include "APipeBufferFactory.h"
#include "support/PixelBuffers.h"

namespace plexa {

// Not initialised, hence not locked: the engines that these tests drive only want what is inside.
inline android::sp<android::APipeBuffer> frameOver(
    const android::sp<android::GraphicBuffer>& buffer,
    android::APipeBuffer::ColorFormat format = android::APipeBuffer::Nv12) {
    return android::APipeBufferFactory::Create(
        format, buffer != nullptr ? buffer->width : 0, buffer != nullptr ? buffer->height : 0,
        buffer, nullptr, android::APipeBuffer::GraphicMemory, -1, -1);
}

inline android::sp<android::APipeBuffer> rgbaFrame(int width, int height) {
    return frameOver(rgbaBuffer(width, height), android::APipeBuffer::Rgba8888);
}

inline Rgba rgbaAt(const android::sp<android::APipeBuffer>& frame, int x, int y) {
    return rgbaAt(frame->getGraphicBuffer(), x, y);
}

// The init message of a converter whose output has this size.
inline android::sp<android::AMessage> glFormat(int width, int height) {
    const android::sp<android::AMessage> dst = new android::AMessage();
    dst->setInt32("width", width);
    dst->setInt32("height", height);
    const android::sp<android::AMessage> formats = new android::AMessage();
    formats->setMessage("dst", dst);
    return formats;
}

}  // namespace plexa
