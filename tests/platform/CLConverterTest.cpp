// libvexcolor's converter: large frames, damage, misuse, and its table of operations. What it does
// to samples is swept in GeometrySweepTest.cpp.
#include <cl/converter/CLConverter.h>
#include <gtest/gtest.h>
#include <host/FaultInjection.h>

#include <memory>
#include <thread>

#include "support/LogCapture.h"
#include "support/SampledFrames.h"

namespace cl::converter {
namespace {

using android::host::CompressedLayout;
using android::host::CompressedPlane;
using android::host::Fault;
using android::host::FaultInjection;
using common::CLColorFormat;
using plexa::LogCapture;

// A bit depth's codes and pixel formats.
struct Depth {
    uint32_t bits;
    CLColorFormat linearCode;
    CLColorFormat tiledCode;
    PixelFormat linear;
    PixelFormat tiled;
};
constexpr Depth kDepths[] = {
    {8, common::CL_COLOR_NV12_VENUS, common::CL_COLOR_NV12_COMPRESSED, kNv12Venus, kNv12Tiles},
    {8, common::CL_COLOR_NV12, common::CL_COLOR_NV12_COMPRESSED, kNv12, kNv12Tiles},
    {10, common::CL_COLOR_P010_VENUS, common::CL_COLOR_TP10_COMPRESSED, kP010, kTp10Tiles},
};

std::unique_ptr<CLConverter> makeConverter(CLColorFormat src, CLColorFormat dst, Size size) {
    std::unique_ptr<CLConverter> converter(CLConverter::Create(src, dst));
    EXPECT_NE(converter, nullptr);
    EXPECT_EQ(converter->setup(size.width, size.height, size.width, size.height, 3), 1);
    return converter;
}

TestBuffer compress(const Depth& depth, Size size, const Frame& frame, uint8_t padding = 0x5A) {
    TestBuffer linear(size, depth.linear, padding), tiled(size, depth.tiled, 0xC3);
    linear.write(frame);
    EXPECT_EQ(
        makeConverter(depth.linearCode, depth.tiledCode, size)->convert(linear.get(), tiled.get()),
        1);
    return tiled;
}

TEST(CLConverterTest, TilesOfOneValueAreStoredAsSuch) {
    constexpr Size size = {100, 50};
    const Picture picture = [](uint32_t c, uint32_t, uint32_t) { return 130 + 40 * c; };
    for (const Depth& depth : kDepths) {
        const Frame frame = makeFrame(size, picture);
        const TestBuffer tiled = compress(depth, size, frame);
        const auto layout = CompressedLayout::of(size.width, size.height, depth.tiled).value();
        const size_t tiles = layout.luma.tileCount() + layout.chroma.tileCount();
        for (size_t i = 0; i < tiles; ++i)
            ASSERT_EQ(tiled.bytes()[i], 1);

        // What else lies in the slots does not matter.
        for (const CompressedPlane* plane : {&layout.luma, &layout.chroma}) {
            for (size_t i = 0; i < plane->tileCount(); ++i) {
                memset(tiled.bytes() + plane->tilesOffset + i * 256 + 4, 0x77, 252);
            }
        }
        const TestBuffer back(size, depth.linear, 0xA5);
        EXPECT_EQ(makeConverter(depth.tiledCode, depth.linearCode, size)
                      ->convert(tiled.get(), back.get()),
                  1);
        EXPECT_EQ(back.read(), frame);
    }
}

// Large enough to be streamed past the caches, by several threads where there are any.
TEST(CLConverterTest, LargeFramesAreTheSameWithEveryHint) {
    constexpr Size size = {4098, 2162};
    for (const Depth& depth : {kDepths[0], kDepths[2]}) {
        const Frame frame = makeNoise(size, depth.bits);
        const TestBuffer tiled = compress(depth, size, frame);
        TestBuffer linear(size, depth.linear, 0x5A);
        linear.write(frame);
        const auto packer = makeConverter(depth.linearCode, depth.tiledCode, size);
        const auto unpacker = makeConverter(depth.tiledCode, depth.linearCode, size);
        for (const int32_t hint : {2, 0, 1}) {
            packer->setPerfHint(hint);
            unpacker->setPerfHint(hint);
            const TestBuffer again(size, depth.tiled, 0xC3), back(size, depth.linear, 0x5A);
            EXPECT_EQ(packer->convert(linear.get(), again.get()), 1);
            EXPECT_EQ(memcmp(again.bytes(), tiled.bytes(), tiled.size()), 0) << hint;
            EXPECT_EQ(unpacker->convert(tiled.get(), back.get()), 1);
            EXPECT_EQ(memcmp(back.bytes(), linear.bytes(), linear.size()), 0) << hint;
        }
    }
}

TEST(CLConverterTest, WorksOnWithoutTheThreadsItAskedFor) {
    constexpr Size size = {2048, 2048};
    const LogCapture log;
    const Frame frame = makeNoise(size, 8);
    TestBuffer linear(size, kNv12, 0);
    linear.write(frame);
    const auto packer =
        makeConverter(common::CL_COLOR_NV12, common::CL_COLOR_NV12_COMPRESSED, size);
    packer->setPerfHint(2);
    FaultInjection::failNth(Fault::ThreadStart, 1);
    const TestBuffer tiled(size, kNv12Tiles, 0);
    EXPECT_EQ(packer->convert(linear.get(), tiled.get()), 1);
    FaultInjection::clear();
    const bool alone = std::thread::hardware_concurrency() == 1;
    EXPECT_EQ(log.count(ANDROID_LOG_WARN, "CLConverter", "no more than 1 threads"),
              alone ? 0U : 1U);
}

TEST(CLConverterTest, DamagedMetadataIsRefused) {
    constexpr Size size = {200, 100};
    const LogCapture log;
    for (const Depth& depth : kDepths) {
        const Frame frame = makeNoise(size, depth.bits);
        const TestBuffer tiled = compress(depth, size, frame);
        const auto layout = CompressedLayout::of(size.width, size.height, depth.tiled).value();
        const auto converter = makeConverter(depth.tiledCode, depth.linearCode, size);
        const TestBuffer back(size, depth.linear, 0xA5);
        const size_t last = layout.luma.tileCount() + layout.chroma.tileCount() - 1;
        for (const size_t tile : {size_t{0}, layout.luma.tileCount() - 1, last}) {
            const uint8_t kind = tiled.bytes()[tile];
            for (const int damaged : {2, 128, 255}) {
                tiled.bytes()[tile] = static_cast<uint8_t>(damaged);
                EXPECT_EQ(converter->convert(tiled.get(), back.get()), 0);
            }
            tiled.bytes()[tile] = kind;
        }
        EXPECT_TRUE(back.paddingIsIntact());
        EXPECT_EQ(converter->convert(tiled.get(), back.get()), 1);
        EXPECT_EQ(back.read(), frame);
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "CLConverter", "metadata is damaged"), 27U);
}

TEST(CLConverterTest, RefusesFormatsThatDoNotGoTogether) {
    const LogCapture log;
    constexpr int32_t pairs[][2] = {{3, 5}, {4, 6}, {6, 4}, {5, 6}, {3, 3},
                                    {4, 4}, {7, 6}, {6, 7}, {0, 0}, {-1, 8}};
    for (const auto& [src, dst] : pairs) {
        EXPECT_EQ(
            CLConverter::Create(static_cast<CLColorFormat>(src), static_cast<CLColorFormat>(dst)),
            nullptr);
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "CLConverter", "no conversion from format"),
              std::size(pairs));
}

TEST(CLConverterTest, RefusesSizesItCannotConvert) {
    const LogCapture log;
    const std::unique_ptr<CLConverter> converter(
        CLConverter::Create(common::CL_COLOR_NV12_COMPRESSED, common::CL_COLOR_NV12));
    constexpr int64_t sizes[][4] = {{0, 8, 0, 8},
                                    {8, -1, 8, -1},
                                    {8, 8, 8, 9},
                                    {16385, 8, 16385, 8},
                                    {(int64_t{1} << 32) + 8, 8, (int64_t{1} << 32) + 8, 8}};
    for (const auto& [srcWidth, srcHeight, dstWidth, dstHeight] : sizes) {
        EXPECT_EQ(converter->setup(srcWidth, srcHeight, dstWidth, dstHeight, 3), 0);
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "CLConverter", "setup: cannot convert"),
              std::size(sizes));
    const TestBuffer tiled({8, 8}, kNv12Tiles, 0), linear({8, 8}, kNv12, 0);
    EXPECT_EQ(converter->convert(tiled.get(), linear.get()), 0);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "CLConverter", "nothing is set up"));
}

TEST(CLConverterTest, RefusesBuffersThatAreNotAsSetUp) {
    constexpr Size size = {64, 48};
    const TestBuffer tiled(size, kNv12Tiles, 0), linear(size, kNv12, 0);
    const TestBuffer tenBits(size, kTp10Tiles, 0), p010(size, kP010, 0);
    const TestBuffer small({62, 48}, kNv12Tiles, 0), tall({64, 50}, kNv12, 0);
    const TestBuffer planar(size, HAL_PIXEL_FORMAT_YV12, 0),
        rgba(size, HAL_PIXEL_FORMAT_RGBA_8888, 0);
    sp<GraphicBuffer> empty;
    {
        const LogCapture log;
        FaultInjection::failNth(Fault::GraphicsAllocate, 1);
        empty = sp<GraphicBuffer>::make(64U, 48U, kNv12, 1U, uint64_t{0});
    }

    const struct {
        sp<GraphicBuffer> input, output;
        const char* cause;
    } cases[] = {{nullptr, linear.get(), "input buffer is null"},
                 {tiled.get(), nullptr, "output buffer is null"},
                 {nullptr, nullptr, "input buffer is null"},
                 {tiled.get(), empty, "output buffer has no memory"},
                 {tiled.get(), tiled.get(), "one buffer"},
                 {small.get(), linear.get(), "input buffer does not have the size"},
                 {tiled.get(), tall.get(), "output buffer does not have the size"},
                 {linear.get(), tall.get(), "input buffer does not have the format"},
                 {tenBits.get(), linear.get(), "input buffer does not have the format"},
                 {tiled.get(), p010.get(), "output buffer does not have the format"},
                 {tiled.get(), planar.get(), "output buffer does not have the format"},
                 {tiled.get(), rgba.get(), "output buffer does not have the format"}};
    const auto converter =
        makeConverter(common::CL_COLOR_NV12_COMPRESSED, common::CL_COLOR_NV12_VENUS, size);
    for (const auto& [input, output, cause] : cases) {
        const LogCapture log;
        EXPECT_NE(converter->convert(input, output), 1) << cause;
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "CLConverter", cause)) << cause;
    }
    EXPECT_EQ(converter->convert(tiled.get(), linear.get()), 1);
}

// Clients call by slot: set-up, convert, release and hint follow the two destructors.
TEST(CLConverterTest, OperationsKeepTheirSlots) {
    constexpr Size size = {16, 16};
    const LogCapture log;
    CLConverter* converter = CLConverter::Create(common::CL_COLOR_NV12, common::CL_COLOR_NV12);
    void** slots = *reinterpret_cast<void***>(converter);
    const auto setup =
        reinterpret_cast<int32_t (*)(CLConverter*, int64_t, int64_t, int64_t, int64_t, int32_t)>(
            slots[2]);
    const auto convert = reinterpret_cast<int32_t (*)(CLConverter*, const sp<GraphicBuffer>&,
                                                      const sp<GraphicBuffer>&)>(slots[3]);
    const auto release = reinterpret_cast<void (*)(CLConverter*)>(slots[4]);
    const auto setPerfHint = reinterpret_cast<void (*)(CLConverter*, int32_t)>(slots[5]);

    const TestBuffer input(size, kNv12, 1), output(size, kNv12, 2);
    EXPECT_EQ(setup(converter, 16, 16, 16, 16, 3), 1);
    EXPECT_EQ(convert(converter, input.get(), output.get()), 1);
    EXPECT_EQ(output.read(), input.read());
    EXPECT_TRUE(output.paddingIsIntact());
    setPerfHint(converter, 9);
    EXPECT_TRUE(log.contains(ANDROID_LOG_WARN, "CLConverter", "9 is no hint"));
    release(converter);
    release(converter);
    EXPECT_EQ(convert(converter, input.get(), output.get()), 0);
    EXPECT_EQ(setup(converter, 16, 16, 16, 16, 3), 1);
    EXPECT_EQ(convert(converter, input.get(), output.get()), 1);
    delete converter;
}

}  // namespace
}  // namespace cl::converter
