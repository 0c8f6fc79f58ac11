// CaptureTest: a fixture that makes source frames from formulas and reads captured pictures.
#pragma once

#include <ZelFrameCaptureLayer.h>
#include <gtest/gtest.h>
#include <host/GraphicsCounts.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "support/ColorMath.h"
#include "support/LogCapture.h"
#include "support/PixelBuffers.h"

namespace plexa {

inline android::sp<android::GraphicBuffer> makeBuffer(uint32_t width, uint32_t height,
                                                      android::PixelFormat format) {
    return graphicBuffer(static_cast<int>(width), static_cast<int>(height), format);
}

// Codes of Y', Cb and Cr, or R, G and B, at a pixel; chroma is taken where its luma samples begin.
using Painter = std::function<Triple(uint32_t x, uint32_t y)>;

inline android::sp<android::GraphicBuffer> paint(uint32_t width, uint32_t height,
                                                 android::PixelFormat format,
                                                 const Painter& painter) {
    const auto buffer = makeBuffer(width, height, format);
    if (format != HAL_PIXEL_FORMAT_RGBA_8888) {
        fill(buffer, [&](int x, int y) {
            const Triple codes = painter(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
            return Yuv{static_cast<int>(codes[0]), static_cast<int>(codes[1]),
                       static_cast<int>(codes[2])};
        });
        return buffer;
    }
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const Triple codes = painter(x, y);
            const auto pixels = android::host::pixelsOf(*buffer);
            std::copy_n(codes.begin(), 3,
                        pixels->base + y * pixels->layout.y.stride + size_t{4} * x);
        }
    }
    return buffer;
}

// Colours side by side, each 8 pixels wide and 8 high, so that chroma of neighbours stays apart.
inline constexpr uint32_t kPatch = 8;
inline android::sp<android::GraphicBuffer> paintPatches(const std::vector<Triple>& codes,
                                                        android::PixelFormat format) {
    return paint(static_cast<uint32_t>(codes.size()) * kPatch, kPatch, format,
                 [&codes](uint32_t x, uint32_t) { return codes[x / kPatch]; });
}

using Pixel = Rgba;

inline Pixel pixelAt(const android::sp<android::GraphicBuffer>& picture, uint32_t x, uint32_t y) {
    return rgbaAt(picture, static_cast<int>(x), static_cast<int>(y));
}

// The middles of what paintPatches painted.
inline std::vector<Pixel> patchesOf(const android::sp<android::GraphicBuffer>& picture) {
    std::vector<Pixel> patches;
    for (uint32_t x = kPatch / 2; x < picture->getWidth(); x += kPatch)
        patches.push_back(pixelAt(picture, x, kPatch / 2));
    return patches;
}

class CaptureTest : public testing::Test {
protected:
    using PictureFormat = android::hardware::graphics::common::V1_2::PixelFormat;

    CaptureTest() {
        EXPECT_EQ(mLayer->init(1, android::ZelFrameCaptureLayer::kCaptureStill), android::OK);
    }
    ~CaptureTest() override {
        mLayer.clear();
        EXPECT_EQ(android::host::graphicsCounts().locks, 0);
    }

    static android::sp<android::AMessage> parameters(int32_t dataspace) {
        auto message = android::sp<android::AMessage>::make();
        message->setInt32("android._dataspace", dataspace);
        return message;
    }

    // Inclusive edges of the whole buffer.
    static android::Rect wholeOf(const android::sp<android::GraphicBuffer>& source) {
        const android::Rect bounds = source->getBounds();
        return {0, 0, bounds.right - 1, bounds.bottom - 1};
    }

    android::status_t capture(const android::sp<android::GraphicBuffer>& source,
                              const android::Rect& crop,
                              const android::sp<android::AMessage>& message,
                              const android::sp<android::GraphicBuffer>& picture) {
        const android::Rect size = picture->getBounds();
        return mLayer->capture(source, crop, message, PictureFormat::RGBA_8888, size.right,
                               size.bottom, picture);
    }

    // The crop at its own size.
    android::sp<android::GraphicBuffer> captured(const android::sp<android::GraphicBuffer>& source,
                                                 const android::Rect& crop,
                                                 const android::sp<android::AMessage>& message) {
        const auto picture =
            makeBuffer(static_cast<uint32_t>(crop.width() + 1),
                       static_cast<uint32_t>(crop.height() + 1), HAL_PIXEL_FORMAT_RGBA_8888);
        EXPECT_EQ(capture(source, crop, message, picture), android::OK);
        return picture;
    }
    android::sp<android::GraphicBuffer> captured(const android::sp<android::GraphicBuffer>& source,
                                                 int32_t dataspace) {
        return captured(source, wholeOf(source), parameters(dataspace));
    }

    LogCapture mLog{ANDROID_LOG_INFO};
    android::sp<android::ZelFrameCaptureLayer> mLayer =
        android::sp<android::ZelFrameCaptureLayer>::make();
};

}  // namespace plexa
