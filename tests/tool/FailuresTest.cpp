// Each way to fail: its exit status, its one line, and nothing left behind.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "Clip.h"
#include "PlexaProcess.h"
#include "Y4m.h"

namespace plexa::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

void expectOneLine(const RunResult& run) {
    EXPECT_THAT(run.err, StartsWith("plexa: "));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.out, "");
}

TEST(Usage, ErrorsEndWithStatusTwoAndNameTheOption) {
    struct Case {
        std::vector<std::string> arguments;
        const char* message;
    };
    TemporaryDirectory directory;
    const std::string in = directory / "in.y4m";
    const std::string out = directory / "out.y4m";
    writeFile(in, toText(greys(8, 8, 2)));
    const std::vector<Case> cases = {
        {{}, "a command is missing"},
        {{"shrink"}, "shrink"},
        {{"scale"}, "INPUT"},
        {{"scale", in}, "OUTPUT"},
        {{"scale", in, out}, "--size"},
        {{"scale", in, out, "--size"}, "--size"},
        {{"scale", in, out, "--size", "0x0"}, "--size: '0x0' is not a size"},
        {{"scale", in, out, "--size", "-5x10"}, "--size: '-5x10' is not a size"},
        {{"scale", in, out, "--size", "1x1"}, "--size: '1x1' is not a size"},
        {{"scale", in, out, "--size", "100000x100000"}, "--size: '100000x100000' is not a size"},
        {{"scale", in, out, "--size", "16385x8"}, "each side 2 to 16384"},
        {{"scale", in, out, "--size", "16384x16384"}, "at most 134217728 pixels"},
        {{"scale", in, out, "--size", "99999999999x8"}, "is not a size"},
        {{"scale", in, out, "--size", "abc"}, "--size: 'abc' is not a size"},
        {{"scale", in, out, "--size", "8x8x8"}, "is not a size"},
        {{"scale", in, out, "--size", "8"}, "is not a size"},
        {{"scale", in, out, "--size", "-1x-1"}, "is not a size"},
        {{"scale", in, out, "--size", "8x8", "--frames", "0"}, "--frames"},
        {{"scale", in, out, "--size", "8x8", "--frames", "x"}, "--frames"},
        {{"scale", in, out, "--size", "8x8", "--colour"}, "--colour"},
        {{"scale", in, out, "--size", "8x8", "--sheet", "4x3"}, "--sheet: needs a .png"},
        {{"scale", in, directory / "a.png", "--size", "8x8", "--sheet", "0x3"}, "is not a layout"},
        {{"scale", in, directory / "a.avi", "--size", "8x8"}, "OUTPUT: '"},
        {{"scale", in, directory / "plain", "--size", "8x8"}, ".mp4, .mkv, .y4m, .png or -"},
        {{"scale", in, "-", "--size", "8x8", "--json"}, "--json: standard output"},
        {{"scale", in, in, "--size", "8x8"}, "is the input itself"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        RunResult run = runPlexa(test.arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr(test.message));
        expectOneLine(run);
    }
    EXPECT_EQ(directory.names(), std::vector<std::string>{"in.y4m"});
}

TEST(Usage, HelpAndVersionAreNoErrors) {
    RunResult help = runPlexa({"scale", "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"INPUT", "OUTPUT", "--size", "--frames", "--sheet", "--json",
                               "--quiet", "--verbose", "2 to 16384"}) {
        EXPECT_THAT(help.out, HasSubstr(option));
    }
    RunResult version = runPlexa({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, StartsWith("plexa "));
}

class BadInput : public testing::Test {
protected:
    // Runs a job that must fail with status 1, one line that names `name`, and no output.
    void expectFailure(const std::string& input, const std::string& name, const std::string& cause,
                       const std::string& size = "32x24") {
        SCOPED_TRACE(cause);
        const std::vector<std::string> before = mDirectory.names();
        RunResult run =
            runPlexa({"scale", input, mDirectory / "out.mp4", "--size", size}, {.input = mInput});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.err, StartsWith("plexa: " + name + ": "));
        EXPECT_THAT(run.err, HasSubstr(cause));
        expectOneLine(run);
        EXPECT_EQ(mDirectory.names(), before);
    }

    std::string write(const std::string& name, const std::string& content) {
        writeFile(mDirectory / name, content);
        return mDirectory / name;
    }

    TemporaryDirectory mDirectory;
    std::string mInput;
};

TEST_F(BadInput, ThatIsNoVideo) {
    const std::string missing = mDirectory / "missing.mp4";
    expectFailure(missing, missing, "No such file or directory");
    const std::string text = write("notes.txt", "Buy milk.\nCall home.\n");
    expectFailure(text, text, "cannot be read");
    const std::string ansi = write("notes.ans", "Buy milk.\nCall home.\n");
    expectFailure(ansi, ansi, "is text, not video");
    const std::string empty = write("empty.mp4", "");
    expectFailure(empty, empty, "cannot be read");
    const std::string sound = mDirectory / "sound.wav";
    ASSERT_TRUE(makeSound(sound));
    expectFailure(sound, sound, "has no video stream");
    std::filesystem::create_directory(mDirectory / "folder.mp4");
    expectFailure(mDirectory / "folder.mp4", mDirectory / "folder.mp4", "is a directory");
}

TEST_F(BadInput, ThatIsCutShort) {
    Clip clip;
    for (int i = 0; i < 40; ++i)
        clip.frames.push_back({64, 48, i * 40});
    ASSERT_TRUE(makeClip(mDirectory / "whole.mp4", clip));
    const std::string whole = readFile(mDirectory / "whole.mp4");
    const std::string noIndex = write("no-index.mp4", whole.substr(0, whole.size() / 2));
    expectFailure(noIndex, noIndex, "moov atom not found");

    // With the index in front, and without one, the cut comes as a surprise, wherever it is.
    clip.indexFirst = true;
    for (const char* name : {"whole.mp4", "whole.mkv"}) {
        ASSERT_TRUE(makeClip(mDirectory / name, clip));
        const std::string stream = readFile(mDirectory / name);
        const std::string cut =
            write(std::string("cut-") + name, stream.substr(0, stream.size() - 2000));
        expectFailure(cut, cut, "cut short");
    }

    const std::string y4m = toText(greys(64, 48, 3));
    const std::string cutY4m = write("cut.y4m", y4m.substr(0, y4m.size() - 100));
    expectFailure(cutY4m, cutY4m, "ends inside frame 3");
    mInput = y4m.substr(0, y4m.size() - 100);
    expectFailure("-", "standard input", "ends inside frame 3");
    mInput.clear();
    expectFailure("-", "standard input", "cannot be read");
}

TEST_F(BadInput, ThatHasLostAFrame) {
    Clip clip;
    for (int i = 0; i < 40; ++i) {
        clip.frames.push_back({64, 48, i * 40});
    }
    ASSERT_TRUE(makeClip(mDirectory / "whole.mp4", clip));
    std::string content = readFile(mDirectory / "whole.mp4");
    constexpr size_t kStart = 4000;
    constexpr size_t kSize = 2000;  // a few frames
    content.replace(content.find("mdat") + kStart, kSize, kSize, '\0');
    const std::string damaged = write("damaged.mp4", content);
    expectFailure(damaged, damaged, "is damaged or cut short near frame");
}

TEST_F(BadInput, ThatChangesSizeMidway) {
    Clip clip;
    for (int i = 0; i < 5; ++i)
        clip.frames.push_back({64, 48, i * 40});
    for (int i = 5; i < 9; ++i)
        clip.frames.push_back({32, 24, i * 40});
    const std::string changing = mDirectory / "changing.mp4";
    ASSERT_TRUE(makeClip(changing, clip));
    expectFailure(changing, changing, "changes size from 64x48 to 32x24 at frame 6");
}

TEST_F(BadInput, ThatDoesNotFitTheSizeAskedFor) {
    const std::string wide = write("wide.y4m", toText(greys(400, 2, 1)));
    expectFailure(wide, "--size", "the aspect of 400x2 makes 50x0", "50x-1");
    expectFailure(wide, mDirectory / "out.mp4", "cannot hold the odd size 51x33", "51x33");
}

TEST(BadOutput, LeavesNothingBehind) {
    struct Case {
        std::string name;
        const char* cause;
    };
    TemporaryDirectory directory;
    const std::string in = directory / "in.y4m";
    writeFile(in, toText(greys(64, 48, 60)));
    std::filesystem::create_directory(directory / "folder.y4m");
    std::filesystem::create_symlink("/dev/full", directory / "full.y4m");
    const std::vector<std::string> before = directory.names();
    for (const Case& test :
         {Case{"missing/out.y4m", "No such file or directory"},
          Case{"in.y4m/out.mp4", "Not a directory"}, Case{"folder.y4m", "Is a directory"},
          Case{"full.y4m", "No space left on device"}}) {
        RunResult run = runPlexa({"scale", in, directory / test.name, "--size", "64x48"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err,
                  "plexa: " + directory / test.name + ": cannot be written: " + test.cause + "\n");
        expectOneLine(run);
    }
    EXPECT_EQ(directory.names(), before);
}

TEST(BadOutput, ThatGrowsTooLargeIsRemoved) {
    TemporaryDirectory directory;
    const std::string in = directory / "in.y4m";
    writeFile(in, toText(noise(64, 48, 8, 200)));
    writeFile(directory / "out.mkv", "the one before");
    for (const char* name : {"out.y4m", "out.mp4", "out.mkv", "out.png"}) {
        SCOPED_TRACE(name);
        std::vector<std::string> job = {"scale", in, directory / name, "--size", "64x48"};
        if (std::string(name) == "out.png") job.insert(job.end(), {"--sheet", "10x10"});
        // Graphics buffers are files to the system, too: these are smaller.
        RunResult run = runPlexa(job, {.fileSizeLimit = 64 * 1024});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, "plexa: " + directory / name + ": cannot be written: File too large\n");
    }
    EXPECT_EQ(directory.names(), (std::vector<std::string>{"in.y4m", "out.mkv"}));
    EXPECT_EQ(readFile(directory / "out.mkv"), "the one before");
}

TEST(BadOutput, ClosedPipeIsAnError) {
    PlexaProcess process({"scale", "-", "-", "--size", "64x48"});
    process.closeOutput();
    RunResult run = process.finish(toText(greys(64, 48, 60)));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "plexa: standard output: cannot be written: Broken pipe\n");
}

TEST(Interruption, WhileWaitingForInputEndsCleanly) {
    for (int signal : {SIGINT, SIGTERM}) {
        TemporaryDirectory directory;
        PlexaProcess process({"scale", "-", directory / "out.mp4", "--size", "64x48"});
        ASSERT_TRUE(process.write(toText(greys(64, 48, 10))));
        ASSERT_TRUE(directory.waitForNewFile());  // the job has begun
        process.signal(signal);
        RunResult run = process.wait();
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err,
                  "plexa: " + directory / "out.mp4" + ": interrupted before it was complete\n");
        EXPECT_TRUE(directory.names().empty());
    }
}

TEST(Interruption, WhileNobodyReadsTheOutputEndsCleanly) {
    TemporaryDirectory directory;
    writeFile(directory / "in.y4m", toText(greys(320, 240, 60)));
    PlexaProcess process({"scale", directory / "in.y4m", "-", "--size", "320x240"});
    ASSERT_TRUE(process.waitForOutput());
    process.signal(SIGINT);
    ASSERT_TRUE(process.waitForEnd());
    RunResult run = process.finish();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "plexa: standard output: interrupted before it was complete\n");
}

}  // namespace
}  // namespace plexa::test
