// What the outputs hold: codecs, tags, pictures, reports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Clip.h"
#include "PlexaProcess.h"
#include "Y4m.h"

namespace plexa::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST(EncodedOutput, KeepsTagsAspectAndDepth) {
    struct Case {
        const char* encoder;
        AVPixelFormat pixels;
        const char* output;
        const char* codec;
    };
    TemporaryDirectory directory;
    for (const Case& test : {Case{"ffv1", AV_PIX_FMT_YUV420P, "out.mp4", "h264"},
                             Case{"ffv1", AV_PIX_FMT_YUV420P10LE, "out.mp4", "hevc"},
                             Case{"ffv1", AV_PIX_FMT_YUV420P, "out.mkv", "h264"},
                             Case{"ffv1", AV_PIX_FMT_YUV420P10LE, "out.mkv", "hevc"}}) {
        Clip clip{test.encoder,
                  test.pixels,
                  {1, 1000},
                  {4, 3},
                  AVCOL_RANGE_MPEG,
                  AVCOL_PRI_BT2020,
                  AVCOL_TRC_SMPTE2084,
                  AVCOL_SPC_BT2020_NCL,
                  {}};
        for (int i = 0; i < 3; ++i)
            clip.frames.push_back({128, 96, i * 40});
        ASSERT_TRUE(makeClip(directory / "in.mkv", clip));
        RunResult run =
            runPlexa({"scale", directory / "in.mkv", directory / test.output, "--size", "64x-1"});
        ASSERT_EQ(run.status, 0) << run.err;
        const Clip result = readClip(directory / test.output);
        ASSERT_EQ(result.frames.size(), 3U);
        EXPECT_EQ(result.codec, test.codec);
        EXPECT_EQ(result.pixels, test.pixels);
        EXPECT_EQ(result.frames[0].width, 64);
        EXPECT_EQ(result.frames[0].height, 48);
        EXPECT_EQ(av_cmp_q(result.sampleAspectRatio, clip.sampleAspectRatio), 0);
        EXPECT_EQ(result.range, clip.range);
        EXPECT_EQ(result.primaries, clip.primaries);
        EXPECT_EQ(result.transfer, clip.transfer);
        EXPECT_EQ(result.matrix, clip.matrix);
    }
}

// 4:4:4 and RGB go to 8 bits, 4:2:2 with 10 bits to 10; grey stays grey.
TEST(Input, OfOtherPixelFormatsIsBroughtToTheNearerOfTwo) {
    TemporaryDirectory directory;
    for (const auto& [pixels, bits] : {std::pair{AV_PIX_FMT_YUV444P, 8},
                                       {AV_PIX_FMT_YUV422P10LE, 10},
                                       {AV_PIX_FMT_YUV420P12LE, 10},
                                       {AV_PIX_FMT_YUV411P, 8}}) {
        Clip clip;
        clip.codec = "ffv1";
        clip.pixels = pixels;
        clip.range = AVCOL_RANGE_MPEG;
        clip.frames = {{19, 11, 0}, {19, 11, 40}};
        ASSERT_TRUE(makeClip(directory / "in.mkv", clip));
        RunResult run = runPlexa({"scale", directory / "in.mkv", "-", "--size", "19x11"});
        ASSERT_EQ(run.status, 0) << run.err;
        const Y4m video = fromText(run.out);
        EXPECT_EQ(video.bits, bits);
        EXPECT_EQ(video.frames.size(), 2U);
    }
}

TEST(Frames, StopAfterTheNumberAskedFor) {
    const Y4m sent = greys(32, 16, 30);
    RunResult run =
        runPlexa({"scale", "-", "-", "--size", "32x16", "--frames", "7"}, {.input = toText(sent)});
    ASSERT_EQ(run.status, 0) << run.err;
    const Y4m received = fromText(run.out);
    ASSERT_EQ(received.frames.size(), 7U);
    EXPECT_TRUE(received.frames.back() == sent.frames[6]);
}

// Luma 16 is black and every step above it 255 / 219 of grey.
int greyOf(int frame) {
    const int level = static_cast<int>(std::lround(frame * 255.0 / 219.0));
    return level << 16 | level << 8 | level;
}

TEST(Picture, IsTheFirstFrame) {
    TemporaryDirectory directory;
    Y4m video = greys(33, 17, 30);
    video.frames.erase(video.frames.begin(), video.frames.begin() + 9);
    RunResult run = runPlexa({"scale", "-", directory / "first.png", "--size", "33x17"},
                             {.input = toText(video)});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("1 frames"));
    for (const auto& [x, y] : {std::pair{0, 0}, {32, 0}, {0, 16}, {32, 16}, {16, 8}}) {
        EXPECT_EQ(pixelAt(directory / "first.png", x, y), greyOf(9)) << x << "," << y;
    }
}

// The length of a stream on standard input is not known, that of a file is.
TEST(ContactSheet, IsSpreadOverTheClip) {
    TemporaryDirectory directory;
    const Y4m video = greys(16, 8, 200);
    RunResult run =
        runPlexa({"scale", "-", directory / "sheet.png", "--size", "16x8", "--sheet", "3x2"},
                 {.input = toText(video)});
    ASSERT_EQ(run.status, 0) << run.err;
    constexpr int kStepX = 16 + 4;
    constexpr int kStepY = 8 + 4;
    int previous = -1;
    for (int cell = 0; cell < 6; ++cell) {
        const int left = cell % 3 * kStepX;
        const int top = cell / 3 * kStepY;
        const int corner = pixelAt(directory / "sheet.png", left, top);
        EXPECT_EQ(pixelAt(directory / "sheet.png", left + 15, top + 7), corner);
        EXPECT_GT(corner, previous);
        // Within half a part of the middle of its part of the clip.
        const double frame = (corner & 0xFF) * 219.0 / 255.0;
        EXPECT_NEAR(frame, (cell + 0.5) * 200 / 6, 200.0 / 6) << cell;
        previous = corner;
    }
}

TEST(ContactSheet, OfAFileTakesTheMiddleOfEachPart) {
    TemporaryDirectory directory;
    Clip clip;
    for (int i = 0; i < 60; ++i)
        clip.frames.push_back({64, 48, i * 40});
    ASSERT_TRUE(makeClip(directory / "in.mp4", clip));
    RunResult run = runPlexa({"scale", directory / "in.mp4", directory / "sheet.png", "--size",
                              "64x48", "--sheet", "2x2", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out)["frames"], 4);
    int previous = -1;
    for (const auto& [x, y] : {std::pair{0, 0}, {127, 0}, {0, 90}, {127, 90}}) {
        const int grey = pixelAt(directory / "sheet.png", x, y) & 0xFF;
        if (previous >= 0) {
            EXPECT_NEAR(grey - previous, 15, 3);
        }
        previous = grey;
    }
}

TEST(ContactSheet, OfFewFramesSaysSo) {
    TemporaryDirectory directory;
    RunResult run =
        runPlexa({"scale", "-", directory / "sheet.png", "--size", "8x8", "--sheet", "3x2"},
                 {.input = toText(greys(8, 8, 4))});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("4 frames for 6 cells"));
}

TEST(Summary, AsJsonHoldsWhatTheTextHolds) {
    TemporaryDirectory directory;
    RunResult run = runPlexa({"scale", "-", directory / "out.y4m", "--size", "32x20", "--json"},
                             {.input = toText(greys(64, 48, 25))});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const nlohmann::json summary = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_FALSE(summary.is_discarded()) << run.out;
    EXPECT_EQ(summary["input"]["width"], 64);
    EXPECT_EQ(summary["output"]["height"], 20);
    EXPECT_EQ(summary["frames"], 25);
    EXPECT_GT(summary["frames_per_second"], 0);
    ASSERT_EQ(summary["stages"].size(), 2U);
    EXPECT_EQ(summary["stages"][0]["name"], "APipeDecompress");
    EXPECT_EQ(summary["stages"][1]["name"], "APipeScale");
    for (const nlohmann::json& times :
         {summary["stages"][0], summary["stages"][1], summary["chain"]}) {
        EXPECT_GT(times["mean_ms"], 0);
        EXPECT_GT(times["p50_ms"], 0);
        EXPECT_GE(times["p99_ms"], times["p50_ms"]);
    }
    EXPECT_GE(summary["chain"]["mean_ms"], summary["stages"][1]["mean_ms"]);
}

TEST(Summary, IsLeftOutWhenQuietAndTheLogComesWhenVerbose) {
    TemporaryDirectory directory;
    const std::vector<std::string> job = {"scale", "-", directory / "out.y4m", "--size", "8x8"};
    std::vector<std::string> quiet = job;
    quiet.push_back("--quiet");
    RunResult run = runPlexa(quiet, {.input = toText(greys(8, 8, 3))});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out + run.err, "");
    std::vector<std::string> verbose = job;
    verbose.push_back("--verbose");
    run = runPlexa(verbose, {.input = toText(greys(8, 8, 3))});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("APipeScale"));
}

TEST(Progress, IsShownOnATerminalAndWipedOut) {
    TemporaryDirectory directory;
    std::filesystem::create_symlink("/dev/null", directory / "out.y4m");
    PlexaProcess process({"scale", "-", directory / "out.y4m", "--size", "16x16"},
                         {.onTerminal = true});
    const std::string video = toText(greys(16, 16, 50));
    ASSERT_TRUE(process.write(video));
    const std::string frames = video.substr(video.find("FRAME"));
    while (!process.hasErrorOutput()) {
        ASSERT_TRUE(process.write(frames));
    }
    RunResult run = process.finish();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr(" frames, "));
    EXPECT_THAT(run.err, HasSubstr(" frames/s"));
    EXPECT_THAT(run.err, EndsWith("\r\x1b[K"));
    EXPECT_THAT(run.out, HasSubstr(" frames in "));
}

TEST(Memory, DoesNotGrowWithTheLengthOfTheClip) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers keep freed memory";
#else
    TemporaryDirectory directory;
    PlexaProcess process({"scale", "-", directory / "out.y4m", "--size", "160x90", "--quiet"});
    const std::string video = toText(greys(320, 180, 100));
    const std::string frames = video.substr(video.find("FRAME"));
    ASSERT_TRUE(process.write(video));
    for (int i = 1; i < 3; ++i) {
        ASSERT_TRUE(process.write(frames));
    }
    const long afterHundreds = process.peakResidentKb();
    for (int i = 3; i < 30; ++i) {
        ASSERT_TRUE(process.write(frames));
    }
    // A tenth of what 2,700 frames more would take.
    const auto allowed = static_cast<long>(27 * frames.size() / 1024 / 10);
    EXPECT_LT(process.peakResidentKb(), afterHundreds + allowed);
    EXPECT_GT(afterHundreds, 0);
    EXPECT_EQ(process.finish().status, 0);
    EXPECT_EQ(fromText(readFile(directory / "out.y4m")).frames.size(), 3000U);
#endif
}

}  // namespace
}  // namespace plexa::test
