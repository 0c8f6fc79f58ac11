// The HDR blobs, byte by byte.
#include <gtest/gtest.h>
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

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

TEST(HdrStaticInfoTest, ValuesBeyondTheUnitsBecomeTheNearest) {
    const HdrStaticInfo info = {.maxLuminance = 1e9, .minLuminance = 100, .maxContentLight = -5};
    const auto read = HdrStaticInfo::fromBlob(info.toBlob());
    ASSERT_TRUE(read);
    EXPECT_DOUBLE_EQ(read->maxLuminance, 65535);
    EXPECT_DOUBLE_EQ(read->minLuminance, 6.5535);
    EXPECT_DOUBLE_EQ(read->maxContentLight, 0);
}

// Writes bit fields of a message as its standard lists them.
class Message {
public:
    Message& put(uint64_t value, int bits) {
        for (int bit = bits - 1; bit >= 0; --bit)
            mBits.push_back(value >> bit & 1);
        return *this;
    }
    Bytes bytes() const {
        Bytes bytes((mBits.size() + 7) / 8);
        for (size_t i = 0; i < mBits.size(); ++i)
            bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | mBits[i] << (7 - i % 8));
        return bytes;
    }

private:
    std::vector<uint8_t> mBits;
};

Message header() {
    return Message().put(0xB5, 8).put(0x003C, 16).put(0x0001, 16).put(4, 8).put(0, 8);
}

TEST(Hdr10PlusInfoTest, LayoutIsThatOfTheMessage) {
    const Hdr10PlusInfo info = {.maxScl = {812.3, 700, 55.5}};
    Message expected = Message().put(0xB5, 8).put(0x003C, 16).put(0x0001, 16).put(4, 8).put(1, 8);
    expected.put(1, 2).put(0, 27).put(0, 1);
    expected.put(8123, 17).put(7000, 17).put(555, 17).put(0, 17);
    expected.put(0, 4).put(0, 10).put(0, 1).put(0, 1).put(0, 1);
    EXPECT_EQ(bytesOf(info.toBlob()), expected.bytes());

    const auto read = Hdr10PlusInfo::fromBlob(info.toBlob());
    ASSERT_TRUE(read);
    EXPECT_NEAR(read->maxScl[0], 812.3, 1e-9);
    EXPECT_NEAR(read->maxScl[2], 55.5, 1e-9);
}

TEST(Hdr10PlusInfoTest, WindowsAndDisplayPeaksAreSteppedOver) {
    Message message = header().put(3, 2);
    for (int window = 0; window < 2; ++window) {
        for (int i = 0; i < 6; ++i)
            message.put(0xFFFF, 16);  // corners and centre
        message.put(0xFF, 8);         // rotation
        for (int i = 0; i < 3; ++i)
            message.put(0xFFFF, 16);  // ellipses
        message.put(1, 1);            // how they overlap
    }
    message.put(400, 27).put(1, 1).put(2, 5).put(3, 5);
    for (int i = 0; i < 6; ++i)
        message.put(0xF, 4);
    message.put(12345, 17).put(6, 17).put(7, 17).put(8, 17);
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

TEST(Hdr10PlusInfoTest, AnyBytesAreReadWithoutHarm) {
    const LogCapture log;
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        Bytes bytes = header().bytes();
        const size_t more = random() % 40;
        for (size_t i = 0; i < more; ++i)
            bytes.push_back(static_cast<uint8_t>(random()));
        const auto read = Hdr10PlusInfo::fromBlob(blobOf(bytes));
        if (read) {
            for (const double light : read->maxScl)
                EXPECT_LE(light, 13107.1);
        }
    }
}

}  // namespace
}  // namespace plexa
