// APipeBufferUtils: stride, elevation and size of every format.
#include <android/log.h>
#include <gtest/gtest.h>
#include <host/ChipName.h>

#include <climits>
#include <string>
#include <tuple>

#include "APipeBufferUtils.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using Format = APipeBuffer::ColorFormat;

class GeometryTest : public testing::Test {
protected:
    ~GeometryTest() override { host::setChipName(host::kDefaultChipName); }

    plexa::LogCapture mLog;
};

TEST_F(GeometryTest, FollowsFromFormatAndSize) {
    struct Case {
        Format format;
        int width, height;
        int stride, elevation, size;
    };
    for (const Case& c : {
             Case{APipeBuffer::Yuv420p, 20, 10, 32, 10, 480},
             Case{APipeBuffer::Nv12, 16, 8, 16, 8, 192},
             Case{APipeBuffer::Nv12, 20, 10, 32, 10, 480},
             Case{APipeBuffer::Nv12, 1, 51, 16, 51, 1224},
             Case{APipeBuffer::Yv12, 20, 10, 32, 10, 480},
             Case{APipeBuffer::P010, 1, 50, 256, 64, 24576},
             Case{APipeBuffer::P010Venus, 129, 64, 512, 64, 49152},
             Case{APipeBuffer::Rgba8888, 17, 50, 32, 50, 128 * 50},
             Case{APipeBuffer::Rgba8888, 10, 5, 16, 5, 320},
             Case{APipeBuffer::Nv12Venus, 20, 10, -1, -1, -1},
             Case{APipeBuffer::Nv12Ubwc, 20, 10, -1, -1, -1},
             Case{APipeBuffer::Tp10Ubwc, 20, 10, -1, -1, -1},
             // Too large for 32 bits, wholly or in the size alone.
             Case{APipeBuffer::Nv12, INT_MAX, INT_MAX, -1, INT_MAX, -1},
             Case{APipeBuffer::P010, 0x40000000, INT_MAX, -1, -1, -1},
             Case{APipeBuffer::Nv12, 40000, 40000, 40000, 40000, -1},
             Case{APipeBuffer::Rgba8888, 0x20000000, 1, 0x20000000, 1, -1},
             // No size at all.
             Case{APipeBuffer::Nv12, 0, 10, -1, 10, -1},
             Case{APipeBuffer::P010, 20, 0, 256, -1, -1},
             Case{APipeBuffer::Rgba8888, INT_MIN, -5, -1, -1, -1},
         }) {
        SCOPED_TRACE(testing::Message() << c.format << ' ' << c.width << 'x' << c.height);
        EXPECT_EQ(APipeBufferUtils::getStride(c.format, c.width), c.stride);
        EXPECT_EQ(APipeBufferUtils::getElevation(c.format, c.height), c.elevation);
        EXPECT_EQ(APipeBufferUtils::getSize(c.format, c.width, c.height, -1, -1), c.size);
    }
    EXPECT_TRUE(mLog.lines().empty());
}

TEST_F(GeometryTest, TakesKnownStrideAndElevationAsTheyAre) {
    struct Case {
        Format format;
        int stride, elevation, size;
    };
    for (const Case& c : {
             Case{APipeBuffer::Nv12, 20, 10, 300},
             Case{APipeBuffer::Nv12, 3, 1, 4},
             Case{APipeBuffer::Nv12, 64, -1, 480},
             Case{APipeBuffer::Nv12, -1, 64, 480},
             Case{APipeBuffer::P010Venus, 64, 10, 960},
             Case{APipeBuffer::Rgba8888, 16, 5, 320},
             Case{APipeBuffer::Nv12Ubwc, 64, 10, -1},
             Case{APipeBuffer::Nv12, 0, 10, -1},
             Case{APipeBuffer::Nv12, -2, -5, -1},
             Case{APipeBuffer::Yv12, INT_MAX, INT_MAX, -1},
             Case{APipeBuffer::Rgba8888, INT_MAX, INT_MAX, -1},
         }) {
        EXPECT_EQ(APipeBufferUtils::getSize(c.format, 20, 10, c.stride, c.elevation), c.size)
            << c.format << ' ' << c.stride << 'x' << c.elevation;
    }
}

TEST_F(GeometryTest, ElevationOfRgbaDependsOnTheChip) {
    for (const auto& [chip, elevation, size] : {std::tuple{"SM8550", 64, 64 * 64},
                                                {"QTI SM8650-AB", 64, 64 * 64},
                                                {"SM8450", 50, 64 * 50},
                                                {"M8550", 50, 64 * 50},
                                                {"", 50, 64 * 50}}) {
        host::setChipName(chip);
        EXPECT_EQ(APipeBufferUtils::getElevation(APipeBuffer::Rgba8888, 50), elevation) << chip;
        EXPECT_EQ(APipeBufferUtils::getSize(APipeBuffer::Rgba8888, 10, 50, -1, -1), size) << chip;
        EXPECT_EQ(APipeBufferUtils::getElevation(APipeBuffer::Nv12, 50), 50) << chip;
    }
}

TEST_F(GeometryTest, RefusesFormatsWithoutAClass) {
    for (const int value : {0, 7, 8, 10, 13, -1}) {
        const auto format = static_cast<Format>(value);
        const std::string line = "Create unknown color format " + std::to_string(value);
        EXPECT_EQ(APipeBufferUtils::getStride(format, 20), -1);
        EXPECT_EQ(APipeBufferUtils::getElevation(format, 10), -1);
        EXPECT_EQ(APipeBufferUtils::getSize(format, 20, 10, 32, 10), -1);
        EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeBufferUtils", line), 3U) << value;
        EXPECT_FALSE(APipeBufferUtils::isCompressedColorformat(format));
    }
    EXPECT_TRUE(APipeBufferUtils::isCompressedColorformat(APipeBuffer::Nv12Ubwc));
    EXPECT_TRUE(APipeBufferUtils::isCompressedColorformat(APipeBuffer::Tp10Ubwc));
    EXPECT_FALSE(APipeBufferUtils::isCompressedColorformat(APipeBuffer::Nv12Venus));
}

}  // namespace
}  // namespace android
