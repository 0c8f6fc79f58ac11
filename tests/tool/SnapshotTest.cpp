// Pictures of single frames: their colours, their place in the clip and in the frame, and failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Clip.h"
#include "PlexaProcess.h"
#include "Y4m.h"
#include "support/ColorMath.h"

namespace plexa::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::array<const char*, 2> kEngines = {"gl", "capture"};

using Rgb = std::array<int, 3>;

Rgb rgbAt(const std::string& picture, int x, int y) {
    const int color = pixelAt(picture, x, y);
    return {color >> 16, color >> 8 & 255, color & 255};
}

void expectNear(Rgb color, Rgb expected, int tolerance) {
    for (size_t i = 0; i < color.size(); ++i)
        EXPECT_NEAR(color[i], expected[i], tolerance) << "channel " << i;
}

int rounded(double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
}

Rgb formula(const Clip& clip, const LumaWeights& weights) {
    const Quantizer codes = {.isFull = clip.range == AVCOL_RANGE_JPEG};
    const Triple rgb =
        toRgb(codes.fromCodes({double(clip.luma), double(clip.cb), double(clip.cr)}), weights);
    return {rounded(255 * rgb[0]), rounded(255 * rgb[1]), rounded(255 * rgb[2])};
}

int greyOf(int luma) {
    return rounded((luma - 16) * 255.0 / 219);
}

Clip flatClip(int width, int height, int frames = 1) {
    Clip clip;
    clip.codec = "ffv1";
    clip.pixels = AV_PIX_FMT_YUV420P;
    clip.range = AVCOL_RANGE_UNSPECIFIED;
    for (int i = 0; i < frames; ++i)
        clip.frames.push_back({width, height, i * 40});
    return clip;
}

class Snapshot : public testing::Test {
protected:
    // Makes the clip and the picture of it; the run's result.
    RunResult take(const Clip& clip, std::vector<std::string> options = {}) {
        EXPECT_TRUE(makeClip(mIn, clip));
        return take(std::move(options));
    }

    RunResult take(std::vector<std::string> options) {
        options.insert(options.begin(), {"snapshot", mIn, mOut});
        return runPlexa(options);
    }

    TemporaryDirectory mDirectory;
    std::string mIn = mDirectory / "in.mkv";
    const std::string mOut = mDirectory / "out.png";
};

TEST_F(Snapshot, FollowsTheColorTags) {
    struct Case {
        AVColorSpace matrix;
        AVColorRange range;
        int width;
        int height;
        LumaWeights weights;
        const char* engine = "gl";  // what auto stands for
    };
    const std::vector<Case> cases = {
        {AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG, 64, 48, kBt601},
        {AVCOL_SPC_BT470BG, AVCOL_RANGE_JPEG, 64, 48, kBt601, "capture"},
        {AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 64, 48, kBt709},
        {AVCOL_SPC_BT709, AVCOL_RANGE_JPEG, 64, 48, kBt709, "capture"},
        {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 64, 48, kBt601},
        {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 64, 720, kBt709},
    };
    for (const Case& test : cases) {
        Clip clip = flatClip(test.width, test.height);
        clip.matrix = test.matrix;
        clip.range = test.range;
        clip.luma = 110;
        clip.cb = 100;
        clip.cr = 170;
        for (const char* engine : {"auto", "capture"}) {
            SCOPED_TRACE(testing::Message() << engine << ", matrix " << test.matrix << ", range "
                                            << test.range << ", height " << test.height);
            const RunResult run = take(clip, {"--engine", engine});
            ASSERT_EQ(run.status, 0) << run.err;
            const bool isAuto = std::string(engine) == "auto";
            EXPECT_THAT(run.out,
                        HasSubstr(std::string("engine ") + (isAuto ? test.engine : engine)));
            EXPECT_THAT(run.out, Not(HasSubstr("note:")));
            expectNear(rgbAt(mOut, 20, 20), formula(clip, test.weights), 2);
        }
    }
}

Clip whitePq(int masteringPeak) {
    Clip clip = flatClip(64, 48);
    clip.pixels = AV_PIX_FMT_YUV420P10LE;
    clip.range = AVCOL_RANGE_MPEG;
    clip.primaries = AVCOL_PRI_BT2020;
    clip.transfer = AVCOL_TRC_SMPTE2084;
    clip.matrix = AVCOL_SPC_BT2020_NCL;
    clip.luma = 143;  // 58 % of PQ, 203 cd/m2: what SDR calls white
    clip.masteringPeak = masteringPeak;
    return clip;
}

TEST_F(Snapshot, MapsHdrByItsMasteringDisplay) {
    // The curve of docs/hdr.md: the brighter the display, the less room is left for white.
    for (const auto& [peak, white] : {std::pair{1000, 0.86}, {4000, 0.78}, {10000, 0.74}}) {
        SCOPED_TRACE(peak);
        const RunResult run = take(whitePq(peak));
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_THAT(run.out, HasSubstr("engine capture"));
        const int grey = rounded(white * 255);
        expectNear(rgbAt(mOut, 20, 20), {grey, grey, grey}, 4);
    }
}

TEST_F(Snapshot, SaysWhenAnEngineCannotFollowTheTags) {
    const RunResult run = take(whitePq(1000), {"--engine", "gl"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("note: " + mIn + ": engine gl shows its colours wrong"));
    const int grey = greyOf(143);
    expectNear(rgbAt(mOut, 20, 20), {grey, grey, grey}, 2);
}

TEST_F(Snapshot, CapturesWithoutAGpuUnlessToldNotTo) {
    Clip clip = flatClip(64, 48);
    clip.range = AVCOL_RANGE_MPEG;
    ASSERT_TRUE(makeClip(mIn, clip));
    const RunResult run = runPlexa({"snapshot", mIn, mOut}, {.withoutGpu = true});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("engine capture; "));
    EXPECT_THAT(run.out, HasSubstr("note: engine gl cannot start here (OpenGLHelper: eglGetDisplay "
                                   "failed); engine capture in its place"));
    expectNear(rgbAt(mOut, 20, 20), formula(clip, kBt601), 2);
    const RunResult told =
        runPlexa({"snapshot", mIn, mOut, "--engine", "gl"}, {.withoutGpu = true});
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.err, StartsWith("plexa: engine gl cannot start here (OpenGLHelper: "));
}

TEST_F(Snapshot, TakesTheFirstFrameAtOrAfterATime) {
    // Frame i is shown i * 40 ms after the first one, which comes at 1000 ms.
    Clip clip = flatClip(64, 48, 5);
    for (ClipFrame& frame : clip.frames)
        frame.pts += 1000;
    ASSERT_TRUE(makeClip(mIn, clip));
    for (const auto& [at, index] : {std::pair{"0", 0},
                                    {"0.04", 1},
                                    {"0.0404", 1},
                                    {"0.05", 2},
                                    {"0.12", 3},
                                    {"0.16", 4},
                                    {"1e-1", 3}}) {
        SCOPED_TRACE(at);
        const RunResult run = take({"--at", at, "--quiet"});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "");
        const int grey = greyOf(clip.luma + index);
        expectNear(rgbAt(mOut, 20, 20), {grey, grey, grey}, 0);
    }
}

// A frame of 16 cells of 8x8 pixels, each with a grey of its own.
int cellLuma(int x, int y) {
    return 30 + 10 * (y / 8 * 4 + x / 8);
}

std::string cells() {
    Y4m video = greys(32, 32, 1);
    for (int i = 0; i < 32 * 32; ++i)
        video.frames[0][static_cast<size_t>(i)] = static_cast<char>(cellLuma(i % 32, i / 32));
    return toText(video);
}

TEST_F(Snapshot, ShowsTheCropAtTheSizeAskedFor) {
    struct Case {
        const char* crop;
        const char* size;
        int width;
        int height;
        int x;  // in the frame, what the picture's corner shows
        int y;
    };
    mIn = mDirectory / "in.y4m";
    writeFile(mIn, cells());
    for (const char* engine : kEngines) {
        for (const Case& test :
             {Case{"0,0,32,32", "32x32", 32, 32, 0, 0}, Case{"8,16,8,8", "8x8", 8, 8, 8, 16},
              Case{"17,9,7,7", "-1x7", 7, 7, 17, 9}, Case{"24,24,8,4", "32x-1", 32, 16, 24, 24}}) {
            SCOPED_TRACE(std::string(engine) + " " + test.crop);
            const RunResult run =
                take({"--engine", engine, "--crop", test.crop, "--size", test.size});
            ASSERT_EQ(run.status, 0) << run.err;
            const Clip picture = readClip(mOut);
            ASSERT_EQ(picture.frames.size(), 1U);
            EXPECT_EQ(picture.frames[0].width, test.width);
            EXPECT_EQ(picture.frames[0].height, test.height);
            const int grey = greyOf(cellLuma(test.x, test.y));
            expectNear(rgbAt(mOut, 2, 2), {grey, grey, grey}, 2);
        }
    }
}

// H.264 codes whole blocks of 16x16: what is beyond the picture must not show.
TEST_F(Snapshot, LeavesOutWhatTheStreamCropsAway) {
    Clip clip = flatClip(50, 38);
    clip.codec = "libx264";
    for (const char* engine : kEngines) {
        SCOPED_TRACE(engine);
        ASSERT_EQ(take(clip, {"--engine", engine}).status, 0);
        const Clip picture = readClip(mOut);
        ASSERT_EQ(picture.frames.size(), 1U);
        EXPECT_EQ(picture.frames[0].width, 50);
        EXPECT_EQ(picture.frames[0].height, 38);
    }
    EXPECT_THAT(take({"--crop", "40,30,11,8"}).err,
                HasSubstr("reaches beyond the picture of 50x38"));
}

TEST_F(Snapshot, ErrorsAreOneLineAndLeaveNothingBehind) {
    struct Case {
        std::vector<std::string> options;
        int status;
        const char* message;
    };
    ASSERT_TRUE(makeClip(mIn, flatClip(64, 48, 3)));
    const std::vector<Case> cases = {
        {{"--at", "-1"}, 2, "--at: '-1' is not a time"},
        {{"--at", "nan"}, 2, "--at: 'nan' is not a time"},
        {{"--at", "1s"}, 2, "--at: '1s' is not a time: expected seconds"},
        {{"--engine", "cl"}, 2, "--engine: 'cl' is not an engine: expected auto, gl or capture"},
        {{"--size", "1x1"}, 2, "--size: '1x1' is not a size"},
        {{"--crop", "1,2,3"}, 2, "--crop: '1,2,3' is not a crop: expected X,Y,W,H"},
        {{"--crop", "0,0,0,8"}, 2, "is not a crop"},
        {{"--crop", "-1,0,8,8"}, 2, "is not a crop"},
        {{"--crop", "0,0,8,8,8"}, 2, "is not a crop"},
        {{"--crop", "0,0,99999999999,8"}, 2, "is not a crop"},
        {{"--frames", "1"}, 2, "--frames"},
        {{"--at", "0.2"}, 1, "--at: the last frame is at 0.080 s, before 0.200 s"},
        {{"--crop", "60,0,8,8"}, 1, "--crop: 60,0,8,8 reaches beyond the picture of 64x48"},
        {{"--crop", "0,0,64,2", "--size", "16x-1"}, 1, "--size: the aspect of 64x2 makes 16x1"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.options));
        const RunResult run = take(test.options);
        EXPECT_EQ(run.status, test.status);
        EXPECT_THAT(run.err, HasSubstr(test.message));
        EXPECT_THAT(run.err, StartsWith("plexa: "));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_EQ(runPlexa({"snapshot", mIn, mDirectory / "out.jpg"}).status, 2);
    EXPECT_EQ(runPlexa({"snapshot", mIn}).status, 2);
    EXPECT_EQ(runPlexa({"snapshot", mDirectory / "missing.mkv", mOut}).status, 1);
    EXPECT_EQ(mDirectory.names(), std::vector<std::string>{"in.mkv"});
}

}  // namespace
}  // namespace plexa::test
