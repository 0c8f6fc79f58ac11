// What exercising stages finds: nothing in right ones, and each of the mistakes that are easily
// made.
#include <gtest/gtest.h>
#include <kit/AllOrders.h>
#include <kit/Exercise.h>
#include <kit/StageLibrary.h>

#include <ostream>

#include "support/LogCapture.h"

namespace plexa {
namespace {

// By one of the promises, if there is anything to find.
struct Case {
    const char* chain;
    const char* promises;  // empty: none is broken
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.chain;
}

class ExerciseTest : public testing::TestWithParam<Case> {
protected:
    const LogCapture mLog{ANDROID_LOG_FATAL};
};

class AllOrdersTest : public testing::Test {
protected:
    const LogCapture mLog{ANDROID_LOG_FATAL};
};

TEST_P(ExerciseTest, FindsWhatIsThere) {
    std::string error;
    const auto stages = kit::findChain(GetParam().chain, &error);
    ASSERT_EQ(error, "");
    const kit::ExerciseOptions options{.lives = PLEXA_EXERCISE_LIVES};
    const kit::ExerciseReport report = kit::exercise(stages, options);
    const std::string promises = GetParam().promises;
    EXPECT_EQ(report.found, !promises.empty());
    EXPECT_NE((promises + " ").find(report.promise + " "), std::string::npos);
    std::cout << kit::toText(report, options);
}

// Of decompress and scale, and of a stage that keeps what it has over a flush.
TEST_F(AllOrdersTest, AreFewEnoughToVisit) {
    std::string error;
    const auto ours = kit::findChain("decompress ! scale:32x16", &error);
    for (const kit::Call call : {kit::Call::Flush, kit::Call::Release, kit::Call::Pause}) {
        const kit::AllOrdersReport report = kit::visitAllOrders(ours, call);
        EXPECT_FALSE(report.found) << kit::toText(report, call);
        EXPECT_GT(report.orders, 100U);
        std::cout << kit::toText(report, call);
    }
    const auto mistaken = kit::findChain(PLEXA_MISTAKEN_STAGE ":mistake=state-over-flush", &error);
    EXPECT_TRUE(kit::visitAllOrders(mistaken, kit::Call::Flush).found);
}

#define MISTAKE(name) PLEXA_MISTAKEN_STAGE ":mistake=" name

INSTANTIATE_TEST_SUITE_P(
    , ExerciseTest,
    testing::Values(
        Case{MISTAKE("none"), ""}, Case{"decompress ! scale:32x16", ""},
        Case{PLEXA_PORTRAIT_STAGE, ""}, Case{MISTAKE("input-kept"), "R-HOME R-POOL"},
        Case{MISTAKE("one-in-a-hundred"), "R-HOME R-POOL R-AGAIN"},
        Case{MISTAKE("no-base-work"), "R-HOME R-AGAIN"}, Case{MISTAKE("no-base-init"), "R-AGAIN"},
        Case{MISTAKE("output-twice"), "R-HOME"}, Case{MISTAKE("frame-without-frame"), "R-PIXELS"},
        Case{MISTAKE("pointer-over-flush"), "R-ALONE"},
        Case{MISTAKE("state-over-flush"), "R-FLUSH R-HOME"},
        Case{MISTAKE("torn-output"), "R-PIXELS R-ALONE"}, Case{MISTAKE("wrong-time"), "R-PIXELS"},
        Case{MISTAKE("no-eos"), "R-PIXELS"}, Case{MISTAKE("blocks"), "R-WAIT"},
        Case{MISTAKE("callback-under-lock"), "R-WAIT"},
        Case{MISTAKE("leak-on-error"), "R-NOTHING"}));

}  // namespace
}  // namespace plexa
