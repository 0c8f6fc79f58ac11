// Every colour of a grid through the GPU converter, against the formula.
#include <gtest/gtest.h>
#include <host/GlesFaults.h>

#include <ostream>
#include <string>

#include "APipeGLConverter.h"
#include "support/GlFrames.h"
#include "support/GlTest.h"
#include "support/YuvFormula.h"

namespace android {
namespace {

using namespace plexa;

// Each pair of Cb and Cr has a block with all luma values side by side. Its outermost chroma
// samples are mixed with the neighbours' by the filter and are not looked at.
constexpr int kStep = 5;
constexpr int kValues = 255 / kStep + 1;
constexpr int kMargin = 2;
constexpr int kBlockWidth = kValues + 2 * kMargin;
constexpr int kBlockHeight = 2 + 2 * kMargin;
constexpr int kWidth = kValues * kBlockWidth;
constexpr int kHeight = kValues * kBlockHeight;

// Ten bits have values between those of the grid.
struct Depth {
    int bits;
    int largest() const { return (1 << bits) - 1; }
    int sample(int step) const {
        return bits == 8 ? step * kStep : std::min(4 * step * kStep + step % 4, largest());
    }
};

Yuv pixelAt(const Depth& depth, int x, int y) {
    const int luma = std::clamp(x % kBlockWidth - kMargin, 0, kValues - 1);
    return {depth.sample(luma), depth.sample(x / kBlockWidth), depth.sample(y / kBlockHeight)};
}

struct Input {
    const char* name;
    PixelFormat format;
    Depth depth;
    double mostError = 1.0;
    bool hasSixteenBits = true;
};

void PrintTo(const Input& input, std::ostream* out) {
    *out << input.name;
}

// The layouts and the compressed formats are swept in GeometrySweepTest.cpp.
const Input kInputs[] = {
    {"Nv12", HAL_PIXEL_FORMAT_YCbCr_420_SP, {8}},
    {"P010", HAL_PIXEL_FORMAT_YCBCR_P010, {10}},
    // A host that knows no such textures cuts the two lowest bits.
    {"P010WithoutSixteenBitTextures", HAL_PIXEL_FORMAT_YCBCR_P010, {10}, 2.5, false},
};

sp<GraphicBuffer> gridOf(const Input& input) {
    return yuvBuffer(
        kWidth, kHeight, [&](int x, int y) { return pixelAt(input.depth, x, y); }, input.format);
}

// Largest error of a channel, of 255, over all colours of the grid.
double largestError(const sp<APipeBuffer>& output, const YuvFormula& formula, const Depth& depth) {
    const double scale = depth.largest();
    double largest = 0;
    for (int y = 0; y < kHeight; ++y) {
        const int row = y % kBlockHeight;
        if (row < kMargin || row >= kBlockHeight - kMargin) continue;
        for (int x = 0; x < kWidth; ++x) {
            const int column = x % kBlockWidth;
            if (column < kMargin || column >= kBlockWidth - kMargin) continue;
            const Yuv yuv = pixelAt(depth, x, y);
            const Rgba rgba = rgbaAt(output, x, y);
            if (rgba[3] != 255) return 255;
            largest = std::max(
                largest, formula.errorOf(rgba, yuv.y / scale, yuv.cb / scale, yuv.cr / scale));
        }
    }
    return largest;
}

struct Variant {
    int colorSpace;
    YuvFormula formula;
};

const Variant kVariants[] = {{HAL_DATASPACE_BT709, kBt709Limited},
                             {HAL_DATASPACE_SRGB, kBt709Full},
                             {HAL_DATASPACE_BT601_625, kBt601Limited},
                             {HAL_DATASPACE_JFIF, kBt601Full}};

class GlColour : public GlTest, public testing::WithParamInterface<Input> {};

TEST_P(GlColour, FollowsTheFormulaOfEachVariant) {
    const Input& input = GetParam();
    const auto frame = frameOver(gridOf(input));
    for (const Variant& variant : kVariants) {
        APipeGLConverter converter;
        converter.setColorSpace(variant.colorSpace);
        ASSERT_EQ(converter.init(glFormat(kWidth, kHeight)), OK);
        const auto output = rgbaFrame(kWidth, kHeight);
        if (!input.hasSixteenBits) host::failGles(host::GlesFault::SixteenBitTexture, 1);
        EXPECT_EQ(converter.convert(frame, output), OK);
        const double error = largestError(output, variant.formula, input.depth);
        RecordProperty(std::to_string(variant.colorSpace), std::to_string(error));
        EXPECT_LE(error, input.mostError) << "dataspace " << variant.colorSpace;
        converter.reset();
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, GlColour, testing::ValuesIn(kInputs),
                         [](const auto& input) { return std::string(input.param.name); });

}  // namespace
}  // namespace android
