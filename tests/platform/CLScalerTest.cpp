// libvexcolor's scaler: large sizes and extreme ratios, and what it refuses. Small sizes are swept
// in GeometrySweepTest.cpp.
#include <cl/common/CLColorFormat.h>
#include <cl/scaler/CLScaler.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>

#include "support/LogCapture.h"
#include "support/SampledFrames.h"

namespace {
int gNewsToFailure = 0;  // the operator new from now on that finds no memory; 0 for none
}  // namespace

void* operator new(size_t bytes) {
    void* memory = gNewsToFailure > 0 && --gNewsToFailure == 0 ? nullptr : std::malloc(bytes);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void* operator new(size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t /*bytes*/) noexcept {
    std::free(memory);
}

namespace cl {
namespace {

using plexa::LogCapture;

struct Depth {
    uint32_t bits;
    int32_t code;
    PixelFormat format;
    uint32_t max() const { return (1U << bits) - 1; }
};
constexpr Depth kDepths[] = {
    {8, common::CL_COLOR_NV12_VENUS, kNv12Venus},
    {8, common::CL_COLOR_NV12, kNv12},
    {10, common::CL_COLOR_P010_VENUS, kP010},
    {10, common::CL_COLOR_P010, kP010},
};

using Handle = std::unique_ptr<void, decltype(&destroyScaler)>;

Handle makeScaler(const Depth& depth, Size from, Size to) {
    return {createScaler(1, from.width, from.height, to.width, to.height, depth.code, depth.code),
            &destroyScaler};
}

// The frame in another size; also checks that no byte outside the picture plays a part.
Frame scaled(const Depth& depth, const Frame& frame, Size to) {
    const Size from = {frame[0].width, frame[0].height};
    const Handle scaler = makeScaler(depth, from, to);
    Frame results[2];
    for (const int i : {0, 1}) {
        TestBuffer input(from, depth.format, i == 0 ? 0x00 : 0xFF);
        const TestBuffer output(to, depth.format, 0xA5);
        input.write(frame);
        EXPECT_TRUE(scale(scaler.get(), input.get(), output.get()));
        EXPECT_TRUE(output.paddingIsIntact())
            << from << " to " << to << " " << depth.bits << " " << depth.code;
        results[i] = output.read();
    }
    EXPECT_EQ(results[0], results[1]);
    return results[0];
}

TEST(CLScalerTest, EveryRatioKeepsAConstantAndWhatIsAroundIt) {
    const Size sizes[][2] = {
        {{1, 1}, {7, 5}},       {{7, 5}, {1, 1}},         {{2, 2}, {4, 4}},
        {{2, 2}, {1, 1}},       {{4, 4}, {2, 2}},         {{18, 10}, {9, 5}},
        {{64, 48}, {33, 24}},   {{99, 99}, {33, 33}},     {{641, 361}, {19, 11}},
        {{19, 11}, {641, 361}}, {{320, 40}, {80, 160}},   {{640, 480}, {257, 111}},
        {{16384, 6}, {3, 500}}, {{1, 16384}, {16384, 1}}, {{19, 11}, {19, 11}}};
    for (const Depth& depth : kDepths) {
        for (const auto& [from, to] : sizes) {
            const Picture picture = [&](uint32_t c, uint32_t, uint32_t) {
                return c == 0 ? depth.max() : c == 1 ? depth.max() / 2 : 3;
            };
            EXPECT_EQ(scaled(depth, makeFrame(from, picture), to), makeFrame(to, picture))
                << depth.bits << " bits " << from << " to " << to;
        }
    }
}

// Rings ever closer to each other, where filters differ most.
Frame zonePlate(const Depth& depth, Size size) {
    return makeFrame(size, [&](uint32_t, uint32_t x, uint32_t y) {
        const uint32_t scale = depth.max() / 255;
        return scale * static_cast<uint32_t>(128 + 120 * std::cos((x * x + y * y) / 130.0));
    });
}

double decibels(const Component& eightBits, const Component& tenBits) {
    double squares = 0;
    for (size_t i = 0; i < eightBits.samples.size(); ++i)
        squares += std::pow(eightBits.samples[i] - tenBits.samples[i] / 4.0, 2);
    return 10 * std::log10(255 * 255 * static_cast<double>(eightBits.samples.size()) / squares);
}

double contrast(const Component& component) {
    double sum = 0, squares = 0;
    for (const double sample : component.samples) {
        sum += sample;
        squares += sample * sample;
    }
    const double mean = sum / static_cast<double>(component.samples.size());
    return std::sqrt(squares / static_cast<double>(component.samples.size()) - mean * mean);
}

TEST(CLScalerTest, LooksTheSameAtAllDepthsAndNearbySizes) {
    const Depth &eight = kDepths[1], &ten = kDepths[3];
    const Size from = {320, 240};
    const double half = contrast(scaled(eight, zonePlate(eight, from), {160, 120})[0]);
    for (const Size to : {Size{158, 118}, Size{160, 120}, Size{162, 122}}) {
        const Component inEight = scaled(eight, zonePlate(eight, from), to)[0];
        EXPECT_GT(decibels(inEight, scaled(ten, zonePlate(ten, from), to)[0]), 40) << to;
        EXPECT_NEAR(contrast(inEight) / half, 1, 0.03) << to;
    }
}

TEST(CLScalerTest, RefusesWhatItCannotScale) {
    constexpr int64_t cases[][7] = {{1, 0, 8, 8, 8, 8, 8},
                                    {1, 8, 8, 8, -8, 8, 8},
                                    {1, 16385, 8, 8, 8, 8, 8},
                                    {1, 8, (int64_t{1} << 32) + 8, 8, 8, 8, 8},
                                    {1, 8, 8, 100000, 100000, 8, 8},
                                    {1, 8, 8, 8, 8, -1, -1},
                                    {1, 8, 8, 8, 8, 3, 3},
                                    {1, 8, 8, 8, 8, 4, 4},
                                    {1, 8, 8, 8, 8, 6, 5},
                                    {1, 8, 8, 8, 8, 7, 7},
                                    {2, 8, 8, 8, 8, 8, 8}};
    const LogCapture log;
    for (const auto& [mode, srcWidth, srcHeight, dstWidth, dstHeight, src, dst] : cases) {
        EXPECT_EQ(createScaler(static_cast<int32_t>(mode), srcWidth, srcHeight, dstWidth, dstHeight,
                               static_cast<int32_t>(src), static_cast<int32_t>(dst)),
                  nullptr);
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "CLScaler", "createScaler"), std::size(cases));
    for (const int failing : {1, 2, 3}) {
        gNewsToFailure = failing;
        EXPECT_EQ(createScaler(1, 8, 8, 8, 8, 8, 8), nullptr) << failing;
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "CLScaler", "out of memory"), 3U);
    destroyScaler(nullptr);
}

// What else buffers may lack, the check that the converter shares refuses.
TEST(CLScalerTest, RefusesBuffersThatAreNotAsCreatedFor) {
    const LogCapture log;
    const TestBuffer input({64, 48}, kNv12, 0), output({32, 24}, kNv12, 0);
    const Handle scaler = makeScaler(kDepths[1], {64, 48}, {32, 24});
    EXPECT_FALSE(scale(scaler.get(), nullptr, output.get()));
    EXPECT_FALSE(scale(scaler.get(), output.get(), input.get()));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "CLScaler", "buffer does not have the size"));
    EXPECT_FALSE(scale(nullptr, input.get(), output.get()));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "CLScaler", "scaler is null"));
    EXPECT_TRUE(scale(scaler.get(), input.get(), output.get()));
}

TEST(CLScalerTest, EntryPointsAreFoundByName) {
    void* library = dlopen("libvexcolor.so", RTLD_NOW | RTLD_NODELETE);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(dlsym(library, "createScaler"), reinterpret_cast<void*>(&createScaler));
    EXPECT_EQ(dlsym(library, "scale"), reinterpret_cast<void*>(&scale));
    EXPECT_EQ(dlsym(library, "destroyScaler"), reinterpret_cast<void*>(&destroyScaler));
    dlclose(library);
}

}  // namespace
}  // namespace cl
