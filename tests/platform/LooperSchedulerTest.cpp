// The seeded scheduler: choice, order, clock, and loopers that stop under it.
#include <gtest/gtest.h>
#include <host/LooperScheduler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include <set>
#include <string>
#include <vector>

#include "support/CallHandler.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using host::LooperScheduler;
using plexa::CallHandler;

// A looper with one handler.
struct Loop {
    explicit Loop(CallHandler::Call call) : handler(sp<CallHandler>::make(std::move(call))) {
        EXPECT_EQ(looper->start(), OK);
        looper->registerHandler(handler);
    }
    status_t post(uint32_t what, int64_t delayUs = 0) const {
        return sp<AMessage>::make(what, handler)->post(delayUs);
    }

    sp<ALooper> looper = sp<ALooper>::make();
    sp<CallHandler> handler;
};

// Three loopers with three messages each, "a0a1b0…" in the order of handling.
std::string orderUnder(uint64_t seed) {
    LooperScheduler scheduler(seed);
    std::string order;
    std::vector<Loop> loops;
    for (const char name : {'a', 'b', 'c'}) {
        loops.emplace_back([&order, name](const auto& msg) {
            order += name;
            order += static_cast<char>('0' + msg->what());
        });
    }
    for (uint32_t what = 0; what < 3; ++what) {
        for (const Loop& loop : loops)
            loop.post(what);
    }
    EXPECT_EQ(scheduler.runUntilIdle(), 9U);
    return order;
}

TEST(LooperSchedulerTest, SeedsGiveManyOrdersEachOfThemAgain) {
    std::set<std::string> orders;
    for (uint64_t seed = 0; seed < 50; ++seed) {
        const std::string order = orderUnder(seed);
        EXPECT_EQ(order, orderUnder(seed)) << "seed " << seed;
        for (const char* name : {"a", "b", "c"}) {
            EXPECT_LT(order.find(name + std::string("0")), order.find(name + std::string("1")));
            EXPECT_LT(order.find(name + std::string("1")), order.find(name + std::string("2")));
        }
        orders.insert(order);
    }
    EXPECT_GT(orders.size(), 40U);
}

TEST(LooperSchedulerTest, TimeMovesOnlyWhenToldAndOrdersWhatIsDue) {
    LooperScheduler scheduler(1);
    std::vector<uint32_t> whats;
    const Loop loop([&](const auto& msg) { whats.push_back(msg->what()); });
    loop.post(1);
    loop.post(2, 100);
    loop.post(3, 50);
    EXPECT_EQ(scheduler.runUntilIdle(), 1U);
    scheduler.advance(49);
    loop.post(4);
    EXPECT_TRUE(scheduler.runOne());
    EXPECT_FALSE(scheduler.runOne());
    const int64_t before = ALooper::GetNowUs();
    EXPECT_TRUE(scheduler.advanceToNext());
    EXPECT_EQ(ALooper::GetNowUs(), before + 1);
    EXPECT_FALSE(scheduler.advanceToNext());  // 3 is due already
    scheduler.advance(10);
    loop.post(5);  // after 3 was due, before 2 is
    scheduler.advance(1'000);
    loop.post(6);
    EXPECT_EQ(scheduler.runUntilIdle(), 4U);
    EXPECT_EQ(whats, (std::vector<uint32_t>{1, 4, 3, 5, 2, 6}));
    EXPECT_FALSE(scheduler.advanceToNext());
}

TEST(LooperSchedulerTest, MessagesOfOneTimeKeepTheirPostingOrder) {
    LooperScheduler scheduler(1);
    std::vector<uint32_t> whats;
    const Loop loop([&](const auto& msg) { whats.push_back(msg->what()); });
    loop.post(1, 10);
    loop.post(2, 10);
    scheduler.advance(10);
    loop.post(3);
    loop.post(4, INT64_MAX);
    scheduler.runUntilIdle();
    EXPECT_EQ(whats, (std::vector<uint32_t>{1, 2, 3}));
}

TEST(LooperSchedulerTest, EndlessPostingIsCutAtTheLimit) {
    LooperScheduler scheduler(1);
    const Loop loop([](const auto& msg) { msg->post(); });
    loop.post(1);
    EXPECT_EQ(scheduler.runUntilIdle(1'000), 1'000U);
}

TEST(LooperSchedulerTest, LoopersStopAndGoAnywhere) {
    const plexa::LogCapture log;
    LooperScheduler scheduler(1);
    int handled = 0;
    Loop outside([&](const auto&) { ++handled; });
    outside.post(1);
    EXPECT_EQ(outside.looper->stop(), OK);
    EXPECT_EQ(outside.post(2), OK);  // waits for the start
    EXPECT_EQ(outside.looper->start(), OK);

    Loop stopping([&](const auto&) {
        ++handled;
        stopping.looper->stop();
        EXPECT_EQ(stopping.looper->start(), INVALID_OPERATION);
    });
    stopping.post(1);
    stopping.post(2);

    const auto left = sp<ABuffer>::make(1U);
    Loop going([&](const auto&) {
        ++handled;
        going.looper.clear();
        EXPECT_EQ(left->getStrongCount(), 2);  // the next message goes after this one
    });
    going.post(1);
    auto next = sp<AMessage>::make(2U, going.handler);
    next->setBuffer("left", left);
    next->post();
    next.clear();
    const wp<ALooper> gone = going.looper;

    EXPECT_EQ(scheduler.runUntilIdle(), 3U);
    EXPECT_EQ(handled, 3);
    EXPECT_EQ(gone.promote(), nullptr);
    EXPECT_EQ(left->getStrongCount(), 1);
}

TEST(LooperSchedulerTest, LoopersMayOutliveIt) {
    std::vector<Loop> loops;
    {
        LooperScheduler scheduler(1);
        loops.emplace_back([](const auto&) { ADD_FAILURE(); });
    }
    EXPECT_EQ(loops[0].post(1), OK);
    EXPECT_EQ(loops[0].looper->stop(), OK);
}

}  // namespace
}  // namespace android
