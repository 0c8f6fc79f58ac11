// Picture: the planes of a Yuv420p frame.
#pragma once

#include <APipeBuffer.h>
#include <utils/StrongPointer.h>

#include <cstdint>

namespace android {

/// Borrows the planes of a buffer that has been initialised. Sizes in pixels, strides in bytes.
///
/// Threading: reentrant.
struct Picture {
    uint8_t* y = nullptr;
    uint8_t* cb = nullptr;
    uint8_t* cr = nullptr;
    int stride = 0;
    int chromaStride = 0;
    int width = 0;
    int height = 0;

    /// One with null planes for a buffer in another format.
    static Picture of(const sp<APipeBuffer>& buffer) {
        Picture picture;
        if (buffer->getColorFormat() != APipeBuffer::Yuv420p) return picture;
        buffer->getYCbCr(&picture.y, &picture.cb, &picture.cr);
        picture.stride = buffer->getStride();
        picture.chromaStride = buffer->getStride() / 2;
        picture.width = buffer->getWidth();
        picture.height = buffer->getHeight();
        return picture;
    }

    bool isOf(int32_t otherWidth, int32_t otherHeight) const {
        return y != nullptr && width == otherWidth && height == otherHeight;
    }
};

}  // namespace android
