// Random chains and clients, and what holds in each of their lives.
//
// PLEXA_CHAIN_LIVES and PLEXA_CHAIN_THREAD_LIVES set the number of lives, PLEXA_CHAIN_SEED the
// random seed of the first.
#include <gtest/gtest.h>
#include <kit/Exercise.h>

#include <cstdlib>
#include <iostream>

#include "support/LogCapture.h"

namespace plexa {
namespace {

uint64_t fromEnvironment(const char* name, uint64_t fallback) {
    const char* const text = std::getenv(name);
    return text == nullptr ? fallback : std::strtoull(text, nullptr, 0);
}

class ChainModelTest : public testing::Test {
protected:
    static void liveMany(uint64_t lives, bool threads) {
        const kit::ExerciseOptions options{.lives = lives,
                                           .seed = fromEnvironment("PLEXA_CHAIN_SEED", 1),
                                           .threads = threads,
                                           .faults = true};
        const kit::ExerciseReport report = kit::exercise({}, options);
        EXPECT_FALSE(report.found);
        std::cout << kit::toText(report, options);
    }

    const LogCapture mLog{ANDROID_LOG_FATAL};
};

TEST_F(ChainModelTest, LivesOnTheSchedulerKeepEveryPromise) {
    liveMany(fromEnvironment("PLEXA_CHAIN_LIVES", PLEXA_CHAIN_DEFAULT_LIVES), false);
}

TEST_F(ChainModelTest, LivesOnThreadsKeepEveryPromise) {
    liveMany(fromEnvironment("PLEXA_CHAIN_THREAD_LIVES", PLEXA_CHAIN_DEFAULT_THREAD_LIVES), true);
}

}  // namespace
}  // namespace plexa
