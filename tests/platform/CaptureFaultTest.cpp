// ZelFrameCaptureLayer: calls that it refuses, each with a status and a line in the log.
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include "support/CaptureTest.h"

namespace plexa {
namespace {

using namespace android;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

class CaptureFaultTest : public CaptureTest {
protected:
    // A refusal is logged once and leaves the picture alone.
    void expectRefused(status_t status, const std::string& why) {
        EXPECT_EQ(status, BAD_VALUE) << why;
        EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 1U) << why;
        EXPECT_EQ(pixelAt(mPicture, 0, 0), Pixel{}) << why;
        mLog.clear();
    }

    // With parameters, a blob of which may be bad.
    status_t captureWith(const sp<AMessage>& message) {
        return capture(mSource, wholeOf(mSource), message, mPicture);
    }

    const sp<GraphicBuffer> mSource = makeBuffer(32, 16, HAL_PIXEL_FORMAT_YCBCR_P010);
    const sp<GraphicBuffer> mPicture = makeBuffer(32, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    const sp<AMessage> mParameters = parameters(HAL_DATASPACE_BT2020_ITU_PQ);
};

TEST_F(CaptureFaultTest, InitTakesOneLayerAndOneMode) {
    constexpr auto kStill = ZelFrameCaptureLayer::kCaptureStill;
    for (const int layers : {0, 2, -1}) {
        EXPECT_EQ(mLayer->init(layers, kStill), BAD_VALUE);
        EXPECT_EQ(captureWith(mParameters), NO_INIT);
    }
    EXPECT_EQ(mLayer->init(1, static_cast<ZelFrameCaptureLayer::CaptureMode>(1)), BAD_VALUE);
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 7U);
    EXPECT_EQ(mLayer->init(1, kStill), OK);
    EXPECT_EQ(captureWith(mParameters), OK);
}

TEST_F(CaptureFaultTest, ArgumentsThatAreNullOrWithoutMemory) {
    const auto nothing = makeBuffer(0, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    mLog.clear();
    const Rect whole = wholeOf(mSource);
    const auto refused = [&](const char* what, const sp<GraphicBuffer>& source, const Rect& crop,
                             const sp<AMessage>& message, const sp<GraphicBuffer>& picture) {
        expectRefused(
            mLayer->capture(source, crop, message, PictureFormat::RGBA_8888,
                            picture == nothing ? 1 : 32, picture == nothing ? 1 : 16, picture),
            what);
    };
    refused("no source", nullptr, whole, mParameters, mPicture);
    refused("no parameters", mSource, whole, nullptr, mPicture);
    refused("no picture", mSource, whole, mParameters, nullptr);
    refused("empty source", nothing, {0, 0, 0, 0}, mParameters, mPicture);
    refused("empty picture", mSource, whole, mParameters, nothing);
}

TEST_F(CaptureFaultTest, CropsThatAreEmptyOrReachOutside) {
    const Rect crops[] = {{0, 0, 32, 15},      {0, 0, 31, 16},    {-1, 0, 31, 15},
                          {0, -1, 31, 15},     {5, 5, 4, 10},     {5, 5, 10, 4},
                          {32, 16, 32, 16},    {0, 0, -1, -1},    {0, 0, kMax, kMax},
                          {kMin, 0, kMax, 15}, {0, 0, kMin, kMin}};
    for (const Rect& crop : crops) {
        expectRefused(capture(mSource, crop, mParameters, mPicture),
                      std::to_string(crop.left) + " to " + std::to_string(crop.right));
    }
}

TEST_F(CaptureFaultTest, PicturesOfNoSizeOrOfAnotherKind) {
    const auto refused = [this](int width, int height, PictureFormat format,
                                const sp<GraphicBuffer>& picture) {
        expectRefused(
            mLayer->capture(mSource, wholeOf(mSource), mParameters, format, width, height, picture),
            std::to_string(width) + "x" + std::to_string(height));
    };
    constexpr auto kRgba = PictureFormat::RGBA_8888;
    for (const int bad : {0, -1, int{kMin}, int{kMax}, 33})
        refused(bad, 16, kRgba, mPicture);
    for (const int bad : {0, -1, int{kMin}, int{kMax}, 17})
        refused(32, bad, kRgba, mPicture);
    refused(32, 16, PictureFormat::YCBCR_P010, mPicture);
    refused(32, 16, kRgba, makeBuffer(32, 16, HAL_PIXEL_FORMAT_YCBCR_P010));
}

TEST_F(CaptureFaultTest, DataspacesThatNobodyRenders) {
    const int32_t dataspaces[] = {
        HAL_DATASPACE_ARBITRARY,
        0x102 | HAL_DATASPACE_STANDARD_BT709,
        0x1000,
        HAL_DATASPACE_STANDARD_FILM,
        HAL_DATASPACE_STANDARD_ADOBE_RGB,
        HAL_DATASPACE_STANDARD_BT2020_CONSTANT_LUMINANCE,
        63 << 16,
        HAL_DATASPACE_TRANSFER_GAMMA2_6,
        31 << 22,
        HAL_DATASPACE_RANGE_EXTENDED,
        7 << 27,
        kMin,
        kMax,
        -1,
    };
    for (const int32_t dataspace : dataspaces)
        expectRefused(captureWith(parameters(dataspace)), std::to_string(dataspace));
}

TEST_F(CaptureFaultTest, BlobsThatAreCutShortOrOfAnotherKind) {
    const sp<ABuffer> stream = host::HdrStaticInfo{.maxLuminance = 1000}.toBlob();
    const sp<ABuffer> scene = host::Hdr10PlusInfo{.maxScl = {500, 500, 500}}.toBlob();
    const struct {
        const char* key;
        sp<ABuffer> blob;
        size_t needed;  // bytes
    } cases[] = {{"hdr-static-info", stream, 25}, {"hdr10-plus-info", scene, 18}};
    const auto other = makeBuffer(32, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    for (const auto& [key, blob, needed] : cases) {
        for (size_t size = 0; size <= blob->size(); ++size) {
            // A block of its own, so that a sanitizer sees a byte too many.
            const auto cut = sp<ABuffer>::make(size);
            std::memcpy(cut->data(), blob->data(), size);
            const auto message = mParameters->dup();
            message->setBuffer(key, cut);
            if (size < needed) {
                expectRefused(captureWith(message), key + std::to_string(size));
            } else {
                EXPECT_EQ(mLayer->capture(mSource, wholeOf(mSource), message,
                                          PictureFormat::RGBA_8888, 32, 16, other),
                          OK);
            }
        }
        const auto message = mParameters->dup();
        message->setBuffer(key, nullptr);
        expectRefused(captureWith(message), key);
        const auto foreign = ABuffer::CreateAsCopy(blob->data(), blob->size());
        foreign->data()[0] ^= 1;
        message->setBuffer(key, foreign);
        expectRefused(captureWith(message), key);
    }
}

TEST_F(CaptureFaultTest, AnySamplesGiveAPicture) {
    const auto pixels = host::pixelsOf(*mSource);
    std::mt19937 random(11);
    std::generate_n(pixels->base, pixels->size, std::ref(random));
    const int32_t dataspaces[] = {HAL_DATASPACE_BT2020_ITU_PQ,  HAL_DATASPACE_BT2020_PQ,
                                  HAL_DATASPACE_BT2020_ITU_HLG, HAL_DATASPACE_BT2020_HLG,
                                  HAL_DATASPACE_BT2020_ITU,     HAL_DATASPACE_V0_BT709};
    for (const int32_t dataspace : dataspaces) {
        EXPECT_EQ(captureWith(parameters(dataspace)), OK);
        EXPECT_EQ(pixelAt(mPicture, 31, 15)[3], 255);
    }
}

TEST_F(CaptureFaultTest, DamagedCompressedFrames) {
    const auto compressed = makeBuffer(64, 32, HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED);
    ASSERT_EQ(capture(compressed, wholeOf(compressed), parameters(0), mPicture), OK);
    host::pixelsOf(*compressed)->base[0] = 0x77;
    EXPECT_EQ(capture(compressed, wholeOf(compressed), parameters(0), mPicture), UNKNOWN_ERROR);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "ZelFrameCaptureLayer", "could not be read"));
}

}  // namespace
}  // namespace plexa
