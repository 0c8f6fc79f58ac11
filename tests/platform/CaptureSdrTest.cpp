// ZelFrameCaptureLayer: SDR colours, crops and sizes.
#include <cmath>
#include <cstdlib>
#include <string>

#include "support/CaptureTest.h"

namespace plexa {
namespace {

using namespace android;

constexpr int32_t kSdr = HAL_DATASPACE_TRANSFER_SMPTE_170M;

// R'G'B' in all combinations of five levels.
std::vector<Triple> colorCube() {
    std::vector<Triple> cube;
    for (const double r : {0.0, 0.25, 0.5, 0.75, 1.0}) {
        for (const double g : {0.0, 0.25, 0.5, 0.75, 1.0}) {
            for (const double b : {0.0, 0.25, 0.5, 0.75, 1.0})
                cube.push_back({r, g, b});
        }
    }
    return cube;
}

bool isSame(const sp<GraphicBuffer>& a, const sp<GraphicBuffer>& b) {
    for (uint32_t y = 0; y < a->getHeight(); ++y) {
        for (uint32_t x = 0; x < a->getWidth(); ++x) {
            if (pixelAt(a, x, y) != pixelAt(b, x, y)) return false;
        }
    }
    return a->getBounds() == b->getBounds();
}

class CaptureSdrTest : public CaptureTest {
protected:
    // Largest difference, in codes, between captured colours and what their codes stand for.
    double worstError(PixelFormat format, int32_t dataspace, const LumaWeights& weights,
                      const Quantizer& quantizer) {
        std::vector<Triple> codes;
        for (const Triple& rgb : colorCube())
            codes.push_back(quantizer.toCodes(toYcc(rgb, weights)));
        const auto patches = patchesOf(captured(paintPatches(codes, format), dataspace));
        double worst = 0;
        for (size_t i = 0; i < codes.size(); ++i) {
            const Triple rgb = toRgb(quantizer.fromCodes(codes[i]), weights);
            for (size_t c = 0; c < 3; ++c) {
                const double wanted = 255 * std::clamp(rgb[c], 0.0, 1.0);
                worst = std::max(worst, std::abs(patches[i][c] - wanted));
            }
            EXPECT_EQ(patches[i][3], 255);
        }
        return worst;
    }
};

TEST_F(CaptureSdrTest, MatrixAndRangeOfEachStandardAndFormat) {
    const struct {
        int32_t standard;
        LumaWeights weights;
    } standards[] = {{HAL_DATASPACE_STANDARD_BT601_625, kBt601},
                     {HAL_DATASPACE_STANDARD_BT601_525, kBt601},
                     {HAL_DATASPACE_STANDARD_BT709, kBt709}};
    const struct {
        PixelFormat format;
        int bits;
    } formats[] = {{HAL_PIXEL_FORMAT_YCbCr_420_SP, 8},
                   {HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, 8},
                   {HAL_PIXEL_FORMAT_YCBCR_420_888, 8},
                   {HAL_PIXEL_FORMAT_YV12, 8},
                   {HAL_PIXEL_FORMAT_YCBCR_P010, 10}};
    for (const auto& [standard, weights] : standards) {
        for (const auto& [format, bits] : formats) {
            for (const bool isFull : {false, true}) {
                const int32_t range =
                    isFull ? HAL_DATASPACE_RANGE_FULL : HAL_DATASPACE_RANGE_LIMITED;
                EXPECT_LE(worstError(format, standard | kSdr | range, weights,
                                     {.isFull = isFull, .bits = bits}),
                          0.51)
                    << std::hex << "format " << format << " dataspace "
                    << (standard | kSdr | range);
            }
        }
    }
}

TEST_F(CaptureSdrTest, LegacyDataspacesMeanTheirParts) {
    const Quantizer limited = {};
    const Quantizer full = {.isFull = true};
    const PixelFormat nv12 = HAL_PIXEL_FORMAT_YCbCr_420_SP;
    EXPECT_LE(worstError(nv12, HAL_DATASPACE_JFIF, kBt601, full), 0.51);
    EXPECT_LE(worstError(nv12, HAL_DATASPACE_BT601_625, kBt601, limited), 0.51);
    EXPECT_LE(worstError(nv12, HAL_DATASPACE_BT601_525, kBt601, limited), 0.51);
    EXPECT_LE(worstError(nv12, HAL_DATASPACE_BT709, kBt709, limited), 0.51);
    EXPECT_LE(worstError(nv12, HAL_DATASPACE_SRGB, kBt709, full), 0.51);
}

TEST_F(CaptureSdrTest, OpenDataspaceGoesBySizeAndFormat) {
    const Painter green = [](uint32_t, uint32_t) { return Triple{120, 60, 40}; };
    const struct {
        uint32_t width, height;
        PixelFormat format;
        int32_t equivalent;
    } cases[] = {
        {720, 576, HAL_PIXEL_FORMAT_YCbCr_420_SP, HAL_DATASPACE_V0_BT601_625},
        {1278, 576, HAL_PIXEL_FORMAT_YCbCr_420_SP, HAL_DATASPACE_V0_BT601_625},
        {1280, 4, HAL_PIXEL_FORMAT_YCbCr_420_SP, HAL_DATASPACE_V0_BT709},
        {4, 578, HAL_PIXEL_FORMAT_YCbCr_420_SP, HAL_DATASPACE_V0_BT709},
        {64, 64, HAL_PIXEL_FORMAT_RGBA_8888, HAL_DATASPACE_V0_SRGB},
    };
    for (const auto& [width, height, format, equivalent] : cases) {
        const auto source = paint(width, height, format, green);
        EXPECT_TRUE(isSame(captured(source, 0), captured(source, equivalent)))
            << width << "x" << height;
    }
    const auto source = paint(64, 64, HAL_PIXEL_FORMAT_YCbCr_420_SP, green);
    EXPECT_TRUE(isSame(captured(source, HAL_DATASPACE_STANDARD_BT709),
                       captured(source, HAL_DATASPACE_V0_BT709)))
        << "parts that are given count";
}

TEST_F(CaptureSdrTest, ChromaSitsWhereVideoAndJpegPutIt) {
    // Cb rises by 4 a pixel.
    const auto source = paint(32, 4, HAL_PIXEL_FORMAT_YCbCr_420_SP, [](uint32_t x, uint32_t) {
        return Triple{128, 64.0 + 4 * x, 128};
    });
    const auto blueAt16 = [&](int32_t dataspace) {
        return pixelAt(captured(source, dataspace), 16, 1)[2];
    };
    const int32_t video = HAL_DATASPACE_STANDARD_BT601_525 | kSdr | HAL_DATASPACE_RANGE_FULL;
    // At a pixel with its own chroma sample, and half a pixel left of the middle between two.
    EXPECT_NEAR(blueAt16(video), 128 + 1.772 * (64 + 4 * 16 - 128), 1);
    EXPECT_NEAR(blueAt16(HAL_DATASPACE_JFIF), 128 + 1.772 * (64 + 4 * 15.5 - 128), 1);
}

TEST_F(CaptureSdrTest, RgbaCodesPassAndBecomeOpaque) {
    const auto source = paint(64, 16, HAL_PIXEL_FORMAT_RGBA_8888, [](uint32_t x, uint32_t y) {
        return Triple{4.0 * x, 16.0 * y, 255.0 - 4 * x};
    });
    ASSERT_EQ(pixelAt(source, 5, 5)[3], 0);
    const auto picture = captured(source, HAL_DATASPACE_V0_SRGB);
    for (uint32_t x = 0; x < 64; ++x)
        EXPECT_EQ(pixelAt(picture, x, 9), (Pixel{static_cast<uint8_t>(4 * x), 144,
                                                 static_cast<uint8_t>(255 - 4 * x), 255}));
}

TEST_F(CaptureSdrTest, OtherCurvesBecomeSrgb) {
    const struct {
        int32_t transfer;
        double (*toLight)(double);
    } cases[] = {
        {HAL_DATASPACE_TRANSFER_LINEAR, [](double v) { return v; }},
        {HAL_DATASPACE_TRANSFER_GAMMA2_2, [](double v) { return std::pow(v, 2.2); }},
        {HAL_DATASPACE_TRANSFER_GAMMA2_8, [](double v) { return std::pow(v, 2.8); }},
    };
    const auto ramp = paint(256, 2, HAL_PIXEL_FORMAT_RGBA_8888, [](uint32_t x, uint32_t) {
        return Triple{x * 1.0, x * 1.0, x * 1.0};
    });
    for (const auto& [transfer, toLight] : cases) {
        const auto picture =
            captured(ramp, HAL_DATASPACE_STANDARD_BT709 | transfer | HAL_DATASPACE_RANGE_FULL);
        for (uint32_t x = 0; x < 256; ++x)
            EXPECT_NEAR(pixelAt(picture, x, 0)[1], 255 * toSrgb(toLight(x / 255.0)), 1.0) << x;
    }
}

TEST_F(CaptureSdrTest, WideGamutKeepsGreyAndColoursThatThePictureHas) {
    const int32_t standards[] = {HAL_DATASPACE_STANDARD_BT2020, HAL_DATASPACE_STANDARD_DCI_P3};
    for (const int32_t standard : standards) {
        const int32_t dataspace = standard | HAL_DATASPACE_TRANSFER_SRGB | HAL_DATASPACE_RANGE_FULL;
        const auto grey = paint(256, 2, HAL_PIXEL_FORMAT_RGBA_8888, [](uint32_t x, uint32_t) {
            return Triple{x * 1.0, x * 1.0, x * 1.0};
        });
        const auto picture = captured(grey, dataspace);
        for (uint32_t x = 0; x < 256; ++x) {
            const auto code = static_cast<uint8_t>(x);
            EXPECT_EQ(pixelAt(picture, x, 0), (Pixel{code, code, code, 255}));
        }
    }
    // A dull orange lies well inside BT.709: only the primaries change.
    const Triple orange = {0.45, 0.25, 0.15};
    // BT.709 to BT.2020 of ITU-R BT.2087.
    constexpr Matrix kTo2020 = {{{0.6274, 0.3293, 0.0433},  //
                                 {0.0691, 0.9195, 0.0114},
                                 {0.0164, 0.0880, 0.8956}}};
    const Triple wide = multiply(kTo2020, orange);
    const auto source = paint(8, 8, HAL_PIXEL_FORMAT_RGBA_8888, [&wide](uint32_t, uint32_t) {
        return Triple{std::round(255 * toSrgb(wide[0])), std::round(255 * toSrgb(wide[1])),
                      std::round(255 * toSrgb(wide[2]))};
    });
    const auto picture =
        captured(source, HAL_DATASPACE_STANDARD_BT2020 | HAL_DATASPACE_TRANSFER_SRGB |
                             HAL_DATASPACE_RANGE_FULL);
    for (size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(pixelAt(picture, 4, 4)[c], 255 * toSrgb(orange[c]), 1.5) << c;
}

TEST_F(CaptureSdrTest, CropEdgesAreInclusiveAndExact) {
    // Luma tells the place, so that each pixel of a crop can be told.
    const auto source = paint(35, 21, HAL_PIXEL_FORMAT_YCbCr_420_SP, [](uint32_t x, uint32_t y) {
        return Triple{16.0 + (7 * x + 35 * y) % 219, 128, 128};
    });
    const auto whole = captured(source, HAL_DATASPACE_V0_BT709);
    const Rect crops[] = {{0, 0, 34, 20}, {4, 2, 11, 9},    {3, 5, 12, 10},
                          {5, 0, 5, 20},  {34, 20, 34, 20}, {33, 19, 34, 20}};
    for (const Rect& crop : crops) {
        const auto picture = captured(source, crop, parameters(HAL_DATASPACE_V0_BT709));
        for (int32_t y = crop.top; y <= crop.bottom; ++y) {
            for (int32_t x = crop.left; x <= crop.right; ++x) {
                EXPECT_EQ(pixelAt(picture, static_cast<uint32_t>(x - crop.left),
                                  static_cast<uint32_t>(y - crop.top)),
                          pixelAt(whole, static_cast<uint32_t>(x), static_cast<uint32_t>(y)))
                    << x << ", " << y;
            }
        }
    }
}

bool isWhite(const sp<GraphicBuffer>& picture) {
    for (uint32_t y = 0; y < picture->getHeight(); ++y) {
        for (uint32_t x = 0; x < picture->getWidth(); ++x) {
            if (pixelAt(picture, x, y) != Pixel{255, 255, 255, 255}) return false;
        }
    }
    return true;
}

TEST_F(CaptureSdrTest, WhatLiesOutsideACropStaysOutside) {
    const auto message = parameters(HAL_DATASPACE_V0_BT709);
    const auto picture = makeBuffer(100, 30, HAL_PIXEL_FORMAT_RGBA_8888);
    const auto source = paint(64, 32, HAL_PIXEL_FORMAT_YCbCr_420_SP, [](uint32_t x, uint32_t y) {
        const bool inside = x >= 8 && x <= 23 && y >= 4 && y <= 11;
        return inside ? Triple{235, 128, 128} : Triple{16, 240, 16};
    });
    ASSERT_EQ(capture(source, {8, 4, 23, 11}, message, picture), OK);
    EXPECT_TRUE(isWhite(picture));
}

TEST_F(CaptureSdrTest, EverySizeGivesThePictureAndNothingBeyond) {
    const auto ramp = paint(64, 48, HAL_PIXEL_FORMAT_YCbCr_420_SP, [](uint32_t x, uint32_t) {
        return Triple{16.0 + 3 * x, 128, 128};
    });
    const struct {
        int32_t width, height;
    } sizes[] = {{1, 1}, {3, 200}, {64, 48}, {63, 47}, {200, 3}, {17, 9}};
    for (const auto& [width, height] : sizes) {
        const auto picture = makeBuffer(256, 256, HAL_PIXEL_FORMAT_RGBA_8888);
        ASSERT_EQ(mLayer->capture(ramp, wholeOf(ramp), parameters(HAL_DATASPACE_V0_BT709),
                                  PictureFormat::RGBA_8888, width, height, picture),
                  OK);
        const auto w = static_cast<uint32_t>(width);
        const auto h = static_cast<uint32_t>(height);
        EXPECT_EQ(pixelAt(picture, w, 0), Pixel{}) << width;
        EXPECT_EQ(pixelAt(picture, 0, h), Pixel{}) << height;
        // Pixel centres of source and picture correspond.
        for (uint32_t x = 0; x < w; ++x) {
            const double at = (x + 0.5) * 64 / w - 0.5;
            const double wanted = std::clamp(at, 0.0, 63.0) * 3 / 219 * 255;
            EXPECT_NEAR(pixelAt(picture, x, h / 2)[1], wanted, 5) << x << " of " << width;
        }
    }
}
}  // namespace
}  // namespace plexa
