// ZelFrameCaptureLayer: tone mapping of PQ and HLG, and colours outside BT.709.
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <cmath>
#include <optional>
#include <string>

#include "../../platform/vexcapture/src/ToneCurve.h"
#include "support/CaptureTest.h"

namespace plexa {
namespace {

using namespace android;

constexpr int32_t kPq = HAL_DATASPACE_BT2020_ITU_PQ;
constexpr int32_t kHlg = HAL_DATASPACE_BT2020_ITU_HLG;
constexpr Quantizer kTenBit = {.bits = 10};

Triple pqCodes(const Triple& nits) {
    return kTenBit.toCodes(toYcc({toPq(nits[0]), toPq(nits[1]), toPq(nits[2])}, kBt2020));
}
Triple hlgCodes(const Triple& nits) {
    return kTenBit.toCodes(toYcc(toHlg(nits), kBt2020));
}

// Light levels of a stream and a scene; 0: not said.
struct Levels {
    double masteringPeak = 0;
    double masteringBlack = 0;
    double maxContentLight = 0;
    double scenePeak = 0;

    // What its curve is to reach without clipping.
    double brightest() const {
        const double said = std::max({masteringPeak, maxContentLight, scenePeak});
        return said > 0 ? said : 1000;
    }
};

std::string describe(const Levels& levels) {
    return "mastering " + std::to_string(levels.masteringPeak) + ", MaxCLL " +
           std::to_string(levels.maxContentLight) + ", scene " + std::to_string(levels.scenePeak);
}

constexpr Levels kStreams[] = {
    {},
    {.masteringPeak = 1000, .masteringBlack = 0.0001},
    {.masteringPeak = 4000, .masteringBlack = 0.005},
    {.masteringPeak = 4000, .masteringBlack = 0.005, .maxContentLight = 4000},
    {.masteringPeak = 4000, .masteringBlack = 0.05, .maxContentLight = 1000},
    {.masteringPeak = 1000, .maxContentLight = 2500},
    {.masteringPeak = 4000, .maxContentLight = 4000, .scenePeak = 600},
    {.scenePeak = 2000},
    {.masteringPeak = 400},
    {.masteringPeak = 10000},
};

class CaptureHdrTest : public CaptureTest {
protected:
    static sp<AMessage> pqParameters(const Levels& levels) {
        const auto message = parameters(kPq);
        if (levels.masteringPeak > 0 || levels.maxContentLight > 0) {
            host::HdrStaticInfo info;
            info.maxLuminance = levels.masteringPeak;
            info.minLuminance = levels.masteringBlack;
            info.maxContentLight = levels.maxContentLight;
            message->setBuffer("hdr-static-info", info.toBlob());
        }
        if (levels.scenePeak > 0) {
            const host::Hdr10PlusInfo info = {.maxScl = {0, levels.scenePeak, 0}};
            message->setBuffer("hdr10-plus-info", info.toBlob());
        }
        return message;
    }

    std::vector<Pixel> capturedPatches(const std::vector<Triple>& codes,
                                       const sp<AMessage>& message) {
        const auto source = paintPatches(codes, HAL_PIXEL_FORMAT_YCBCR_P010);
        return patchesOf(captured(source, wholeOf(source), message));
    }

    // Codes of greys of a stream.
    std::vector<int> greys(const std::vector<double>& nits, const Levels& levels) {
        std::vector<Triple> codes;
        for (const double n : nits)
            codes.push_back(pqCodes({n, n, n}));
        std::vector<int> result;
        for (const Pixel& pixel : capturedPatches(codes, pqParameters(levels))) {
            EXPECT_EQ(pixel, (Pixel{pixel[1], pixel[1], pixel[1], 255})) << "neutral";
            result.push_back(pixel[1]);
        }
        return result;
    }
};

std::vector<double> ramp(double last) {
    std::vector<double> nits;
    for (int i = 0; i <= 200; ++i)
        nits.push_back(last * std::pow(i / 200.0, 2));
    return nits;
}

TEST_F(CaptureHdrTest, GreysRiseFromBlackToWhiteAndReferenceWhiteLeavesRoomForHighlights) {
    std::vector<double> nits = ramp(4000);
    nits.push_back(203);
    for (const Levels& levels : kStreams) {
        SCOPED_TRACE(describe(levels));
        std::vector<int> codes = greys(nits, levels);
        const double white = codes.back() / 255.0;
        EXPECT_TRUE(white >= 0.70 && white <= 0.90) << white;
        codes.pop_back();
        EXPECT_EQ(codes.front(), 0);
        EXPECT_TRUE(std::is_sorted(codes.begin(), codes.end()));
        EXPECT_TRUE(codes.back() == 255 || levels.brightest() > 4000);
    }
}

// The curve levels out towards its end: 8 bits tell lights apart up to about half of the peak, the
// curve itself to the last.
TEST_F(CaptureHdrTest, NothingClipsBelowTheMasteringPeak) {
    for (const Levels& levels : kStreams) {
        const double peak = levels.brightest();
        const auto codes = greys({0.225 * peak, 0.45 * peak}, levels);
        EXPECT_LT(codes[0], codes[1]) << describe(levels);
        EXPECT_LT(codes[1], 255) << describe(levels);

        const capture::ToneCurve curve({.contentPeak = peak, .masteringPeak = peak});
        const auto full = static_cast<float>(peak / capture::kFullScaleNits);
        for (const float share : {0.5F, 0.6F, 0.7F, 0.8F, 0.9F, 0.95F})
            EXPECT_LT(curve(share * full), curve((share + 0.04F) * full)) << peak << " " << share;
        EXPECT_NEAR(curve(full), 1, 1e-4);
    }
}

TEST_F(CaptureHdrTest, ShadowsKeepTheirPlaceAgainstWhite) {
    // Below the knee of every curve light is only scaled: 203 cd/m2 stand for 77 % of full scale.
    for (const double nits : {0.5, 5.0, 20.0, 50.0}) {
        const double wanted = 255 * toSrgb(nits / (203 / 0.77));
        EXPECT_NEAR(greys({nits}, {.masteringPeak = 1000}).front(), wanted, 1.5) << nits;
    }
    // What the mastering display showed as black is black.
    EXPECT_EQ(greys({0.05}, {.masteringPeak = 1000, .masteringBlack = 0.05}).front(), 0);
    EXPECT_GT(greys({0.5}, {.masteringPeak = 1000, .masteringBlack = 0.05}).front(), 0);
}

TEST_F(CaptureHdrTest, DimmerScenesGetMoreOfTheRange) {
    const auto at400 = [this](const Levels& levels) { return greys({400}, levels).front(); };
    const int fromDisplay = at400({.masteringPeak = 4000});
    const int fromContent = at400({.masteringPeak = 4000, .maxContentLight = 1000});
    const int fromScene = at400({.masteringPeak = 4000, .maxContentLight = 1000, .scenePeak = 500});
    EXPECT_LT(fromDisplay, fromContent);
    EXPECT_LT(fromContent, fromScene);
    // Metadata of the same object changes from frame to frame.
    EXPECT_EQ(at400({.masteringPeak = 4000}), fromDisplay);
}

TEST_F(CaptureHdrTest, HlgIsShownAsOnItsNominalDisplay) {
    const std::vector<double> nits = ramp(1000);
    std::vector<Triple> codes;
    for (const double n : nits)
        codes.push_back(hlgCodes({n, n, n}));
    codes.push_back(hlgCodes({203, 203, 203}));
    codes.push_back(hlgCodes({50, 50, 50}));
    const auto patches = capturedPatches(codes, parameters(kHlg));
    for (size_t i = 1; i < nits.size(); ++i)
        EXPECT_LE(patches[i - 1][1], patches[i][1]) << nits[i];
    EXPECT_EQ(patches.front(), (Pixel{0, 0, 0, 255}));
    EXPECT_EQ(patches[nits.size() - 1], (Pixel{255, 255, 255, 255}));
    EXPECT_LT(patches[140][1], 255) << nits[140] << " cd/m2";
    const double white = patches[nits.size()][1] / 255.0;
    EXPECT_GE(white, 0.70);
    EXPECT_LE(white, 0.90);
    // The same light gives the same picture, whether coded in HLG or in PQ.
    EXPECT_NEAR(patches[nits.size() + 1][1], greys({50}, {}).front(), 1);
    const Triple orange = {120, 60, 20};
    const Pixel hlg = capturedPatches({hlgCodes(orange)}, parameters(kHlg)).front();
    const Pixel pq = capturedPatches({pqCodes(orange)}, parameters(kPq)).front();
    for (size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(hlg[c], pq[c], 1.5) << c;
}

double hueShift(const Triple& nits, const Pixel& pixel) {
    Triple light = {};
    for (size_t c = 0; c < 3; ++c)
        light[c] = fromSrgb(pixel[c] / 255.0);
    const Triple shown = multiply(kXyzOf709, light);
    Triple source = multiply(kXyzOf2020, nits);
    // CIELAB is relative to white: compare at one luminance.
    const double scale = shown[1] / source[1];
    for (double& component : source)
        component *= scale;
    return std::remainder(labHue(shown) - labHue(source), 360);
}

TEST_F(CaptureHdrTest, SaturatedColorsKeepTheirHue) {
    const Triple colors[] = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}, {1, 0, 1}};
    for (const double nits : {50.0, 203.0, 600.0, 1000.0}) {
        for (const double saturation : {1.0, 0.9, 0.7}) {
            for (const Triple& color : colors) {
                Triple light = {};
                for (size_t c = 0; c < 3; ++c)
                    light[c] = nits * (color[c] * saturation + (1 - saturation));
                const Pixel pq = capturedPatches({pqCodes(light)}, parameters(kPq)).front();
                const Pixel hlg = capturedPatches({hlgCodes(light)}, parameters(kHlg)).front();
                const std::string what = std::to_string(color[0]) + " " + std::to_string(color[1]) +
                                         " " + std::to_string(color[2]) + " at " +
                                         std::to_string(nits);
                EXPECT_LE(std::abs(hueShift(light, pq)), 6) << what;
                EXPECT_LE(std::abs(hueShift(light, hlg)), 6) << what;
            }
        }
    }
}

TEST_F(CaptureHdrTest, ColorsBeyondBt709StayApart) {
    // From neutral to the primaries of BT.2020 at one light: saturation never falls back.
    for (const size_t primary : {0U, 1U, 2U}) {
        std::vector<Triple> codes;
        for (int step = 0; step <= 10; ++step) {
            Triple light = {200 - 20.0 * step, 200 - 20.0 * step, 200 - 20.0 * step};
            light[primary] = 200;
            codes.push_back(pqCodes(light));
        }
        const auto patches = capturedPatches(codes, parameters(kPq));
        const auto saturation = [](const Pixel& p) {
            return std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]});
        };
        for (size_t i = 1; i < patches.size(); ++i) {
            EXPECT_LT(saturation(patches[i - 1]), saturation(patches[i]))
                << "primary " << primary << " step " << i;
        }
    }
}

TEST_F(CaptureHdrTest, OpenDataspaceWithHdrMetadataIsPq) {
    const Triple codes = pqCodes({150, 90, 40});
    const auto known = capturedPatches({codes}, pqParameters({.masteringPeak = 1000})).front();
    for (const int32_t open : {0, int32_t{HAL_DATASPACE_STANDARD_BT2020}}) {
        const auto message = pqParameters({.masteringPeak = 1000});
        message->setInt32("android._dataspace", open);
        EXPECT_EQ(capturedPatches({codes}, message).front(), known);
        EXPECT_NE(capturedPatches({codes}, parameters(open)).front(), known);
    }
}

}  // namespace
}  // namespace plexa
