// APipeREConverter on the library itself: a frame becomes a picture.
#include <APipeREConverter.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "support/GraphicFrames.h"

namespace plexa {
namespace {

using namespace android;

TEST(REPictureTest, CropAndDataspaceShapeThePicture) {
    const auto frame = graphicFrame(APipeBuffer::Nv12, HAL_PIXEL_FORMAT_YCbCr_420_SP, 64, 32);
    const auto picture = graphicFrame(APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, 32, 32);
    uint8_t *y, *cb, *cr;
    // The left half is red in BT.709, limited range; the right half stays green.
    ASSERT_EQ(frame->getYCbCr(&y, &cb, &cr), OK);
    for (int32_t row = 0; row < 32; ++row)
        std::memset(y + row * frame->getStride(), 63, 32);
    for (int32_t row = 0; row < 16; ++row) {
        for (int32_t column = 0; column < 16; ++column) {
            cb[row * frame->getCStride() + 2 * column] = 102;
            cr[row * frame->getCStride() + 2 * column] = 240;
        }
    }
    frame->unlock();
    frame->getMeta()->setRect("crop", 0, 0, 30, 32);
    frame->getMeta()->setInt32("dataSpace", HAL_DATASPACE_V0_BT709);

    const auto converter = APipeConverter::Create(APipeConverter::kTypeRE);
    ASSERT_EQ(converter->init(nullptr), OK);
    ASSERT_EQ(converter->convert(frame, picture), OK);
    converter->reset();

    ASSERT_EQ(picture->getYCbCr(&y, &cb, &cr), OK);
    using Pixel = std::array<uint8_t, 4>;
    for (int32_t x = 0; x < 32; ++x) {
        Pixel pixel;
        std::memcpy(pixel.data(), y + 16 * picture->getStride() * 4 + 4 * x, pixel.size());
        EXPECT_NEAR(pixel[0], 255, 1) << x;
        EXPECT_NEAR(pixel[1], 0, 1) << x;
        EXPECT_NEAR(pixel[2], 0, 1) << x;
        EXPECT_EQ(pixel[3], 255) << x;
    }
}

}  // namespace
}  // namespace plexa
