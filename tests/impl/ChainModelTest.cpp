// Random chains and clients, and what holds in each of their lives.
//
// PLEXA_CHAIN_LIVES and PLEXA_CHAIN_THREAD_LIVES set the number of lives, PLEXA_CHAIN_SEED the
// random seed of the first. A life that fails on the scheduler is shrunk to the fewest ops that
// still fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "ChainLife.h"
#include "support/LogCapture.h"

namespace plexa {
namespace {

uint64_t fromEnvironment(const char* name, uint64_t fallback) {
    const char* const text = std::getenv(name);
    return text == nullptr ? fallback : std::strtoull(text, nullptr, 0);
}

bool fails(const ChainPlan& plan) {
    return !liveOnScheduler(plan).complaint.empty();
}

ChainPlan without(const ChainPlan& plan, size_t first, size_t count) {
    ChainPlan less = plan;
    const auto begin = less.ops.begin() + static_cast<ptrdiff_t>(first);
    less.ops.erase(begin, begin + static_cast<ptrdiff_t>(std::min(count, plan.ops.size() - first)));
    return less;
}

// Takes out runs of ops, ever shorter ones, as long as the life still fails.
ChainPlan shrunk(ChainPlan plan) {
    for (size_t length = plan.ops.size(); length > 0; length /= 2) {
        for (size_t at = 0; at < plan.ops.size();) {
            ChainPlan less = without(plan, at, length);
            if (fails(less)) {
                plan = std::move(less);
            } else {
                at += length;
            }
        }
    }
    return plan;
}

class ChainModelTest : public testing::Test {
protected:
    template <typename Live>
    void liveMany(uint64_t lives, Live live) {
        const uint64_t first = fromEnvironment("PLEXA_CHAIN_SEED", 1);
        uint64_t frames = 0;
        for (uint64_t seed = first; seed < first + lives && !HasFailure(); ++seed)
            frames += live(seed);
        std::cout << lives << " lives from seed " << first << ", " << frames << " frames\n";
    }

    const LogCapture mLog{ANDROID_LOG_FATAL};
};

TEST_F(ChainModelTest, LivesOnTheSchedulerKeepEveryPromise) {
    liveMany(fromEnvironment("PLEXA_CHAIN_LIVES", PLEXA_CHAIN_DEFAULT_LIVES), [](uint64_t seed) {
        const ChainPlan plan = drawPlan(seed);
        const LifeReport report = liveOnScheduler(plan);
        if (!report.complaint.empty()) {
            const ChainPlan least = shrunk(plan);
            ADD_FAILURE() << report.complaint << "\nshrunk: " << liveOnScheduler(least).complaint
                          << "\n"
                          << toText(least) << "\nsee it again with PLEXA_CHAIN_SEED=" << seed
                          << " PLEXA_CHAIN_LIVES=1";
        }
        return report.frames;
    });
}

TEST_F(ChainModelTest, LivesOnThreadsKeepEveryPromise) {
    liveMany(
        fromEnvironment("PLEXA_CHAIN_THREAD_LIVES", PLEXA_CHAIN_DEFAULT_THREAD_LIVES),
        [](uint64_t seed) {
            const LifeReport report = liveOnThreads(drawPlan(seed), 1 + static_cast<int>(seed % 3));
            EXPECT_EQ(report.complaint, "") << toText(drawPlan(seed)) << "\nits seed is " << seed;
            return report.frames;
        });
}

}  // namespace
}  // namespace plexa
