// Every buffer comes home exactly once, whatever gets lost on the way and whenever a flush comes.
// PLEXA_CONSERVATION_FRAMES sets the number of frames, PLEXA_CONSERVATION_SEED a random seed.
#include <gtest/gtest.h>
#include <host/LooperScheduler.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "conservation_traffic.h"
#include "support/LogCapture.h"

namespace plexa {
namespace {

using Books = ConservationBooks;

constexpr int32_t kPortraitPoolSize = 3;

uint64_t fromEnvironment(const char* name, uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

Ids firstIds(int32_t count) {
    Ids ids;
    for (int32_t id = 0; id < count; ++id)
        ids.insert(id);
    return ids;
}

// On one thread, in an order of messages drawn at random.
class ScheduledTraffic : public ConservationTraffic {
public:
    ScheduledTraffic(android::host::LooperScheduler* scheduler, uint64_t seed)
        : ConservationTraffic(seed), mScheduler(scheduler) {}

    int checks() const { return mChecks; }
    Ids freeInFirstPool() const { return freeIn(*chain().first->mBufferPool); }
    Ids freeInPortraitPool() const { return freeIn(*chain().portrait->mBufferPool); }

protected:
    void pump() override { mScheduler->runUntilIdle(); }
    void breathe() override { mScheduler->runUntilIdle(draw(12)); }
    void check() override {
        pump();
        if (testing::Test::HasFailure()) return;
        ++mChecks;
        EXPECT_EQ(chain().clientBuffers(), books().out());
        EXPECT_EQ(chain().firstPool(), firstIds(PassStage::kPoolSize));
        EXPECT_EQ(chain().portraitPool(), firstIds(kPortraitPoolSize));
    }

private:
    android::host::LooperScheduler* const mScheduler;
    int mChecks = 0;
};

// On threads of the stages' own.
class ThreadedTraffic : public ConservationTraffic {
public:
    using ConservationTraffic::ConservationTraffic;

protected:
    void waitForRoom() override {
        // Nobody tells when a chain is stuck. Each try is long against a stage's step.
        constexpr int kTries = 2000;
        const int64_t before = books().reported;
        for (int i = 0; i < kTries && books().reported == before; ++i)
            std::this_thread::yield();
    }
};

void print(const Books& books) {
    printf("%" PRId64 " frames queued, %" PRId64 " shown, %d flushes\n", books.framesQueued,
           books.shown, books.flushesCompleted);
    printf("%" PRId64 " client buffers queued = %" PRId64 " home in notices + %" PRId64
           " covered by flushes + %zu missing\n",
           books.queued, books.reported, books.covered, books.out().size());
}

void expectSound(const ConservationTraffic& traffic) {
    const Books books = traffic.books();
    print(books);
    EXPECT_EQ(books.out(), Ids());
    EXPECT_EQ(books.queued, books.reported + books.covered);
    EXPECT_EQ(books.strange, 0) << "a buffer came home twice, or after the flush that gave it back";
    EXPECT_EQ(books.errors, 0);
    EXPECT_EQ(traffic.mismatchedItems(), 0) << "a frame met a mask or metadata of another one";
    EXPECT_GT(books.shown, 0);
    EXPECT_LT(books.shown, books.framesQueued) << "nothing was lost";
}

TEST(ConservationTest, EveryBufferIsSomewhereAndComesHomeOnce) {
    const LogCapture log(ANDROID_LOG_ERROR);
    const uint64_t seed = fromEnvironment("PLEXA_CONSERVATION_SEED", 1);
    SCOPED_TRACE("PLEXA_CONSERVATION_SEED=" + std::to_string(seed));
    android::host::LooperScheduler scheduler(seed);
    ScheduledTraffic traffic(&scheduler, seed);
    ASSERT_TRUE(traffic.start());
    traffic.run(static_cast<int64_t>(
        fromEnvironment("PLEXA_CONSERVATION_FRAMES", PLEXA_CONSERVATION_DEFAULT_FRAMES)));
    traffic.end();
    for (int32_t id = 0; id < Books::kFrames; ++id)
        EXPECT_FALSE(traffic.books().isOut(id)) << "frame " << id << " is kept back";
    traffic.flush();
    scheduler.runUntilIdle();
    EXPECT_EQ(traffic.freeInFirstPool(), firstIds(PassStage::kPoolSize));
    EXPECT_EQ(traffic.freeInPortraitPool(), firstIds(kPortraitPoolSize));
    expectSound(traffic);
    EXPECT_GT(traffic.books().shown, traffic.books().framesQueued / 2);
    printf(
        "pools: %zu of %d and %zu of %d buffers free; every buffer was found at each of %d rests\n",
        traffic.freeInFirstPool().size(), PassStage::kPoolSize, traffic.freeInPortraitPool().size(),
        kPortraitPoolSize, traffic.checks());
    EXPECT_TRUE(traffic.release());
    EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), 0U);
}

TEST(ConservationTest, OnThreadsToo) {
    const LogCapture log(ANDROID_LOG_ERROR);
    ThreadedTraffic traffic(fromEnvironment("PLEXA_CONSERVATION_SEED", 1));
    ASSERT_TRUE(traffic.start());
    traffic.run(static_cast<int64_t>(
        fromEnvironment("PLEXA_CONSERVATION_FRAMES", PLEXA_CONSERVATION_DEFAULT_FRAMES) / 10));
    traffic.flush();
    EXPECT_TRUE(traffic.waitFor([](const Books& books) { return !books.isFlushing(); }));
    EXPECT_TRUE(traffic.release());
    expectSound(traffic);
    EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), 0U);
}

}  // namespace
}  // namespace plexa
