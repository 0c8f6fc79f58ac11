// Where pixels land: a card of numbered cells, cropped and scaled, against a reference sampler.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "APipeGLConverter.h"
#include "support/GlFrames.h"
#include "support/YuvFormula.h"

namespace android {
namespace {

using namespace plexa;

constexpr int kCellWidth = 22;
constexpr int kCellHeight = 18;
constexpr int kColumns = 8;
// Three columns and five rows of bits, the top row first.
constexpr std::array<int, 10> kDigits = {075557, 026227, 071747, 071717, 055711,
                                         074717, 074757, 071111, 075757, 075717};

bool isInk(int digit, int x, int y) {
    if (x < 0 || x > 2 || y < 0 || y > 4) return false;
    return (kDigits[static_cast<size_t>(digit)] >> (3 * (4 - y) + (2 - x)) & 1) != 0;
}

// Colour and number tell each cell; the number, in dots of 2x2, tells which way is up.
Yuv cardPixel(int x, int y) {
    const int column = x / kCellWidth;
    const int row = y / kCellHeight;
    const int number = row * kColumns + column;
    const int dotX = (x % kCellWidth - 3) / 2;
    const int dotY = (y % kCellHeight - 4) / 2;
    const bool isNumber =
        x % kCellWidth >= 3 && y % kCellHeight >= 4 &&
        (isInk(number / 10 % 10, dotX, dotY) || isInk(number % 10, dotX - 4, dotY));
    return {isNumber ? 235 : 50 + 12 * column, 60 + 18 * row, 200 - 15 * column};
}

// One plane, sampled between its samples as GL_LINEAR and GL_CLAMP_TO_EDGE do.
class PlaneSampler {
public:
    PlaneSampler(int width, int height) : mWidth(width), mHeight(height) {
        mSamples.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    }
    void put(int x, int y, double value) { at(x, y) = value; }
    // Coordinates from 0 to 1.
    double sample(double u, double v) {
        const double x = u * mWidth - 0.5;
        const double y = v * mHeight - 0.5;
        const int left = static_cast<int>(std::floor(x));
        const int top = static_cast<int>(std::floor(y));
        return std::lerp(std::lerp(at(left, top), at(left + 1, top), x - left),
                         std::lerp(at(left, top + 1), at(left + 1, top + 1), x - left), y - top);
    }

private:
    double& at(int x, int y) {
        x = std::clamp(x, 0, mWidth - 1);
        y = std::clamp(y, 0, mHeight - 1);
        return mSamples[static_cast<size_t>(y) * static_cast<size_t>(mWidth) +
                        static_cast<size_t>(x)];
    }
    int mWidth;
    int mHeight;
    std::vector<double> mSamples;
};

// Chroma of an odd picture counts for whole pixels at its right and bottom edge.
struct CardSampler {
    CardSampler(int width, int height)
        : isOdd(width % 2 != 0 || height % 2 != 0),
          y(width, height),
          cb(isOdd ? width : width / 2, isOdd ? height : height / 2),
          cr(cb) {
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column)
                put(column, row);
        }
    }
    void put(int column, int row) {
        y.put(column, row, cardPixel(column, row).y / 255.0);
        const Yuv chroma = cardPixel(column & ~1, row & ~1);
        const int step = isOdd ? 1 : 2;
        cb.put(column / step, row / step, chroma.cb / 255.0);
        cr.put(column / step, row / step, chroma.cr / 255.0);
    }

    bool isOdd;
    PlaneSampler y;
    PlaneSampler cb;
    PlaneSampler cr;
};

struct Case {
    const char* name;
    int width, height;  // of the input
    Rect crop;          // empty: none
    int outWidth, outHeight;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

const Case kCases[] = {
    {"WholeEqual", 176, 108, {}, 176, 108},
    {"WholeSmaller", 176, 108, {}, 100, 60},
    {"WholeLarger", 176, 108, {}, 300, 170},
    {"EvenEqual", 176, 108, {22, 18, 110, 90}, 88, 72},
    {"EvenSmaller", 176, 108, {22, 18, 110, 90}, 45, 31},
    {"EvenLarger", 176, 108, {22, 18, 110, 90}, 264, 216},
    {"OddEqual", 176, 108, {23, 19, 112, 90}, 89, 71},
    {"OddSmaller", 176, 108, {23, 19, 112, 90}, 40, 37},
    {"OddLarger", 176, 108, {23, 19, 112, 90}, 271, 200},
    {"CornerOfOnePixel", 176, 108, {175, 107, 176, 108}, 8, 8},
    {"OddInput", 161, 97, {}, 161, 97},
    {"OddInputCropped", 161, 97, {101, 51, 161, 97}, 120, 92},
};

class GlGeometry : public testing::TestWithParam<Case> {};

TEST_P(GlGeometry, PutsEveryPixelWhereItBelongs) {
    const Case& c = GetParam();
    const auto input = frameOver(yuvBuffer(c.width, c.height, cardPixel));
    const Rect crop = c.crop.isEmpty() ? Rect(c.width, c.height) : c.crop;
    if (!c.crop.isEmpty()) {
        input->getMeta()->setRect("crop", crop.left, crop.top, crop.right, crop.bottom);
    }
    const auto output = rgbaFrame(c.outWidth, c.outHeight);
    APipeGLConverter converter;
    ASSERT_EQ(converter.init(glFormat(c.outWidth, c.outHeight)), OK);
    ASSERT_EQ(converter.convert(input, output), OK);
    converter.reset();

    CardSampler card(c.width, c.height);
    double largest = 0;
    for (int y = 0; y < c.outHeight; ++y) {
        for (int x = 0; x < c.outWidth; ++x) {
            const double u = (crop.left + (x + 0.5) / c.outWidth * crop.getWidth()) / c.width;
            const double v = (crop.top + (y + 0.5) / c.outHeight * crop.getHeight()) / c.height;
            const double error = kBt709Limited.errorOf(rgbaAt(output, x, y), card.y.sample(u, v),
                                                       card.cb.sample(u, v), card.cr.sample(u, v));
            largest = std::max(largest, error);
        }
    }
    RecordProperty("largestError", std::to_string(largest));
    // The host's filter weighs in steps of 1/256, and on 64-bit Arm a trifle more coarsely.
    EXPECT_LE(largest, 3.2);
}

INSTANTIATE_TEST_SUITE_P(Crops, GlGeometry, testing::ValuesIn(kCases),
                         [](const auto& c) { return std::string(c.param.name); });

}  // namespace
}  // namespace android
