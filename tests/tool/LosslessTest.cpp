// At its own size a video goes through the chain sample for sample, and its times with it.
#include <gtest/gtest.h>

#include "Clip.h"
#include "PlexaProcess.h"
#include "Y4m.h"

namespace plexa::test {
namespace {

struct Size {
    int width;
    int height;
    int frames;
};

class Lossless : public testing::TestWithParam<std::tuple<Size, int>> {};

std::string sizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// Compared as a whole, so that a failure does not print megabytes.
void expectSameFrames(const Y4m& sent, const Y4m& received) {
    EXPECT_EQ(received.width, sent.width);
    EXPECT_EQ(received.height, sent.height);
    EXPECT_EQ(received.bits, sent.bits);
    ASSERT_EQ(received.frames.size(), sent.frames.size());
    for (size_t i = 0; i < sent.frames.size(); ++i) {
        EXPECT_TRUE(received.frames[i] == sent.frames[i]) << "frame " << i;
    }
}

TEST_P(Lossless, EverySampleComesBackThroughFiles) {
    const auto& [size, bits] = GetParam();
    TemporaryDirectory directory;
    const Y4m sent = noise(size.width, size.height, bits, size.frames);
    writeFile(directory / "in.y4m", toText(sent));
    RunResult run = runPlexa({"scale", directory / "in.y4m", directory / "out.y4m", "--size",
                              sizeText(size.width, size.height)});
    ASSERT_EQ(run.status, 0) << run.err;
    expectSameFrames(sent, fromText(readFile(directory / "out.y4m")));
    EXPECT_EQ(directory.names(), (std::vector<std::string>{"in.y4m", "out.y4m"}));
}

// More frames at the sizes that are cheap: every buffer is used several times over.
INSTANTIATE_TEST_SUITE_P(Sizes, Lossless,
                         testing::Combine(testing::Values(Size{2, 2, 20}, Size{18, 10, 20},
                                                          Size{19, 11, 20}, Size{322, 178, 12},
                                                          Size{641, 361, 5}, Size{1366, 768, 3},
                                                          Size{1920, 1080, 2}, Size{4098, 2162, 1}),
                                          testing::Values(8, 10)),
                         [](const auto& test) {
                             const Size& size = std::get<0>(test.param);
                             return sizeText(size.width, size.height) + "_" +
                                    std::to_string(std::get<1>(test.param)) + "bits";
                         });

TEST(Streams, GoFromStandardInputToStandardOutput) {
    for (int bits : {8, 10}) {
        const Y4m sent = noise(37, 23, bits, 12);
        RunResult run = runPlexa({"scale", "-", "-", "--size", "37x23"}, {.input = toText(sent)});
        ASSERT_EQ(run.status, 0) << run.err;
        expectSameFrames(sent, fromText(run.out));
        // Aspect and rate are the input's.
        EXPECT_NE(run.out.find(" F24000:1001 Ip A4:3 C"), std::string::npos);
        // The summary makes way for the video.
        EXPECT_NE(run.err.find("12 frames"), std::string::npos);
    }
}

struct TimesCase {
    const char* output;
    double tolerance;  // seconds
};

class Times : public testing::TestWithParam<TimesCase> {};

TEST_P(Times, ComeOutAsTheyWentIn) {
    TemporaryDirectory directory;
    Clip clip;
    clip.timeBase = {1, 12345};
    // Uneven, late to start, and with a gap.
    for (int64_t pts : {5000, 5001, 5700, 6000, 31000, 31013, 31500, 40000}) {
        clip.frames.push_back({64, 48, pts});
    }
    ASSERT_TRUE(makeClip(directory / "in.mp4", clip));
    const std::vector<double> expected = readClip(directory / "in.mp4").seconds();
    const std::string output = directory / GetParam().output;
    RunResult run = runPlexa({"scale", directory / "in.mp4", output, "--size", "32x24"});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<double> received = readClip(output).seconds();
    ASSERT_EQ(received.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(received[i], expected[i], GetParam().tolerance) << "frame " << i;
    }
}

// Matroska counts in milliseconds.
INSTANTIATE_TEST_SUITE_P(Containers, Times,
                         testing::Values(TimesCase{"out.mp4", 1e-9}, TimesCase{"out.mkv", 5e-4}),
                         [](const auto& test) { return std::string(test.param.output + 4); });

}  // namespace
}  // namespace plexa::test
