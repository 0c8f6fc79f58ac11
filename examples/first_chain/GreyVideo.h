// GreyVideo: stands for a decoder that delivers compressed frames.
#pragma once

#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <hardware/gralloc.h>
#include <media/stagefright/foundation/ADebug.h>
#include <system/graphics.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace android {

inline sp<AMessage> formatOf(APipeBuffer::ColorFormat colorFormat, int width, int height) {
    sp<AMessage> format = new AMessage;
    format->setInt32("colorformat", colorFormat);
    format->setInt32("width", width);
    format->setInt32("height", height);
    return format;
}

/// A client's buffer in graphics memory, for Nv12Ubwc or Nv12Venus.
inline sp<APipeBuffer> newBuffer(APipeBuffer::ColorFormat format, int width, int height,
                                 int32_t id) {
    const auto pixels = format == APipeBuffer::Nv12Ubwc ? HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED
                                                        : HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS;
    constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;
    sp<APipeBuffer> buffer = APipeBufferFactory::Create(
        format, width, height, new GraphicBuffer(width, height, pixels, 1, kUsage), nullptr,
        APipeBuffer::GraphicMemory, -1, -1);
    CHECK_EQ(buffer->init(), OK);
    buffer->getMeta()->setInt32("bufferId", id);
    return buffer;
}

/// Frames of one shade of grey each.
///
/// Threading: reentrant.
class GreyVideo {
public:
    GreyVideo(int width, int height)
        : mPlain(newBuffer(APipeBuffer::Nv12Venus, width, height, -1)),
          mCompressor(APipeConverter::Create(APipeConverter::kTypeCL)) {
        const sp<AMessage> formats = new AMessage;
        formats->setMessage("src", formatOf(APipeBuffer::Nv12Venus, width, height));
        formats->setMessage("dst", formatOf(APipeBuffer::Nv12Ubwc, width, height));
        CHECK_EQ(mCompressor->init(formats), OK);
    }

    void decode(int frame, const sp<APipeBuffer>& into) {
        const auto rows = static_cast<size_t>(mPlain->getHeight());
        memset(lumaOf(mPlain), greyOf(frame), rows * static_cast<size_t>(mPlain->getStride()));
        CHECK_EQ(mCompressor->convert(mPlain, into), OK);
    }

    /// Whether that frame is in a buffer, by its first pixel.
    static bool holds(const sp<APipeBuffer>& buffer, int frame) {
        return *lumaOf(buffer) == greyOf(frame);
    }

private:
    static int greyOf(int frame) { return 20 * frame % 256; }
    static uint8_t* lumaOf(const sp<APipeBuffer>& buffer) {
        uint8_t *y, *cb, *cr;
        CHECK_EQ(buffer->getYCbCr(&y, &cb, &cr), OK);
        return y;
    }

    const sp<APipeBuffer> mPlain;
    const std::shared_ptr<APipeConverter> mCompressor;
};

}  // namespace android
