// The HDR blobs, byte by byte.
#include <gtest/gtest.h>
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "../../platform/vexcapture/src/BitStream.h"
#include "support/LogCapture.h"

namespace plexa {
namespace {

using namespace android;
using host::Hdr10PlusInfo;
using host::HdrStaticInfo;

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(const sp<ABuffer>& blob) {
    return {blob->data(), blob->data() + blob->size()};
}

sp<ABuffer> blobOf(const Bytes& bytes) {
    return ABuffer::CreateAsCopy(bytes.data(), bytes.size());
}

TEST(HdrStaticInfoTest, LayoutIsThatOfTheDescriptor) {
    const HdrStaticInfo info = {
        .primaries = {{{.x = 0.68, .y = 0.32}, {.x = 0.265, .y = 0.69}, {.x = 0.15, .y = 0.06}}},
        .whitePoint = {.x = 0.3127, .y = 0.329},
        .maxLuminance = 1000,
        .minLuminance = 0.005,
        .maxContentLight = 600,
        .maxFrameAverageLight = 300};
    // 34000, 16000, 13250, 34500, 7500, 3000, 15635, 16450, 1000, 50, 600, 300
    const Bytes expected = {0,    0xD0, 0x84, 0x80, 0x3E, 0xC2, 0x33, 0xC4, 0x86,
                            0x4C, 0x1D, 0xB8, 0x0B, 0x13, 0x3D, 0x42, 0x40, 0xE8,
                            0x03, 0x32, 0x00, 0x58, 0x02, 0x2C, 0x01};
    EXPECT_EQ(bytesOf(info.toBlob()), expected);

    const auto read = HdrStaticInfo::fromBlob(blobOf(expected));
    ASSERT_TRUE(read);
    EXPECT_DOUBLE_EQ(read->primaries[1].y, 0.69);
    EXPECT_DOUBLE_EQ(read->whitePoint.x, 0.3127);
    EXPECT_DOUBLE_EQ(read->maxLuminance, 1000);
    EXPECT_DOUBLE_EQ(read->minLuminance, 0.005);
    EXPECT_DOUBLE_EQ(read->maxContentLight, 600);
    EXPECT_DOUBLE_EQ(read->maxFrameAverageLight, 300);
}

TEST(HdrInfoTest, ValuesBeyondTheUnitsBecomeTheNearest) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    const HdrStaticInfo info = {.maxLuminance = 1e9,
                                .minLuminance = 100,
                                .maxContentLight = -5,
                                .maxFrameAverageLight = kNone};
    const auto read = HdrStaticInfo::fromBlob(info.toBlob());
    ASSERT_TRUE(read);
    EXPECT_DOUBLE_EQ(read->maxLuminance, 65535);
    EXPECT_DOUBLE_EQ(read->minLuminance, 6.5535);
    EXPECT_DOUBLE_EQ(read->maxContentLight, 0);
    EXPECT_DOUBLE_EQ(read->maxFrameAverageLight, 0);
    const auto scene = Hdr10PlusInfo::fromBlob(Hdr10PlusInfo{.maxScl = {1e9, -5, kNone}}.toBlob());
    ASSERT_TRUE(scene);
    EXPECT_EQ(scene->maxScl, (std::array<double, 3>{10000, 0, 0}));
}

TEST(Hdr10PlusInfoTest, LayoutIsThatOfTheMessage) {
    const Hdr10PlusInfo info = {.maxScl = {812.3, 700, 55.5}};
    // Header; from the middle of byte 10 on 8123, 7000 and 555, 17 bits each. FFmpeg reads the
    // same.
    const Bytes expected = {0xB5, 0x00, 0x3C, 0x00, 0x01, 0x04, 0x01, 0x40, 0x00, 0x00, 0x00,
                            0x3F, 0x76, 0x1B, 0x58, 0x01, 0x15, 0x80, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(bytesOf(info.toBlob()), expected);

    const auto read = Hdr10PlusInfo::fromBlob(info.toBlob());
    ASSERT_TRUE(read);
    EXPECT_NEAR(read->maxScl[0], 812.3, 1e-9);
    EXPECT_NEAR(read->maxScl[2], 55.5, 1e-9);
}

TEST(Hdr10PlusInfoTest, WindowsAndDisplayPeaksAreSteppedOver) {
    capture::BitWriter message;
    const auto put = [&message](uint32_t value, unsigned bits, int times = 1) {
        for (int i = 0; i < times; ++i)
            message.write(value, bits);
    };
    put(0xB5003C00, 32);  // header, version 0
    put(0x010400, 24);
    put(3, 2);
    for (int window = 0; window < 2; ++window) {
        put(0xFFFF, 16, 6);  // corners and centre
        put(0xFF, 8);        // rotation
        put(0xFFFF, 16, 3);  // ellipses
        put(1, 1);           // how they overlap
    }
    put(400, 27);
    put(1, 1);  // peaks of the display, 2 by 3
    put(2, 5);
    put(3, 5);
    put(0xF, 4, 6);
    put(12345, 17);
    put(6, 17);
    put(7, 17);
    const auto read = Hdr10PlusInfo::fromBlob(blobOf(message.bytes()));
    ASSERT_TRUE(read);
    EXPECT_NEAR(read->maxScl[0], 1234.5, 1e-9);
    EXPECT_NEAR(read->maxScl[2], 0.7, 1e-9);
}

TEST(Hdr10PlusInfoTest, OtherMessagesAreRefused) {
    LogCapture log;
    const Bytes good = bytesOf(Hdr10PlusInfo().toBlob());
    for (size_t byte = 0; byte < 7; ++byte) {
        Bytes other = good;
        other[byte] = static_cast<uint8_t>(other[byte] + 2);
        EXPECT_FALSE(Hdr10PlusInfo::fromBlob(blobOf(other))) << byte;
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "Hdr10PlusInfo", "no HDR10+ message"), 7U);
}

}  // namespace
}  // namespace plexa
