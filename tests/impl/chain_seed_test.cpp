// Chains under hundreds of orders of their messages: what holds in each of them.
#include <APipe.h>

#include <random>
#include <set>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::ClientHandler;
using plexa::formatOf;
using plexa::inputItem;
using plexa::kFrameHeight;
using plexa::kFrameWidth;
using plexa::LogCapture;
using plexa::outputItem;
using plexa::TestStage;

constexpr uint64_t kSeeds = 300;

// A client's view of a chain of three stages on a seeded scheduler: which of its buffers are away.
class SeededChain {
public:
    explicit SeededChain(uint64_t seed) : mScheduler(seed), mRandom(seed) {
        const sp<AMessage> format = formatOf(2, kFrameWidth, kFrameHeight);
        first->init(format, format);
        mScheduler.runUntilIdle();
        client->forget();
    }

    void queueInput() {
        if (mAwayInputs.size() < 5 && first->queueItem(inputItem(mNextId, mNextId)) == OK) {
            mAwayInputs.insert(mNextId++);
        }
    }
    void queueOutput() {
        if (mAwayOutputs.size() < 3 && last->queueItem(outputItem(mNextId)) == OK) {
            mAwayOutputs.insert(mNextId++);
        }
    }
    void doSomething() {
        const uint64_t choice = mRandom() % 10;
        if (choice < 3) queueInput();
        if (choice >= 3 && choice < 6) queueOutput();
        if (choice >= 6) mScheduler.runOne();
        hearNotices();
    }
    // As the header asks: what was queued counts as home with the notice, and not before.
    void flush() {
        first->flush();
        while (client->count(APipe::kWhatFlushCompleted) == 0)
            ASSERT_TRUE(mScheduler.runOne());
        hearNotices();
        mAwayInputs.clear();
        mAwayOutputs.clear();
        client->forget();
    }
    // Serves every input that is away with outputs until nothing moves any more.
    void finish() {
        for (int i = 0; i < 10; ++i) {
            queueOutput();
            mScheduler.runUntilIdle();
            hearNotices();
        }
    }
    uint64_t random() { return mRandom(); }

    android::host::LooperScheduler mScheduler;
    const sp<ClientHandler> client = ClientHandler::create();
    sp<TestStage> last = new TestStage(nullptr, client->notify(), "C", 0);
    sp<TestStage> first =
        new TestStage(new TestStage(last, client->notify(), "B", 2), client->notify(), "A", 2);
    std::set<int32_t> mAwayInputs, mAwayOutputs;
    std::vector<int64_t> mFrameTimes;

private:
    void hearNotices() {
        for (const auto& notice : client->notices()) {
            if (notice.what == APipe::kWhatInputBufferDone) {
                EXPECT_EQ(mAwayInputs.erase(notice.bufferId), 1U) << "home twice, or after a flush";
            } else if (notice.what == APipe::kWhatOutputBufferDone) {
                EXPECT_EQ(mAwayOutputs.erase(notice.bufferId), 1U)
                    << "home twice, or after a flush";
                mFrameTimes.push_back(notice.timeUs);
            } else {
                return;
            }
        }
        client->forget();
    }

    std::mt19937_64 mRandom;
    int32_t mNextId = 0;
};

TEST(ChainSeedTest, EveryBufferComesHomeInOrder) {
    const LogCapture log(ANDROID_LOG_ERROR);
    for (uint64_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        SeededChain chain(seed);
        for (int step = 0; step < 120; ++step) {
            chain.doSomething();
            if (chain.random() % 40 != 0) continue;
            ASSERT_NO_FATAL_FAILURE(chain.flush());
        }
        chain.finish();
        EXPECT_TRUE(chain.mAwayInputs.empty());
        EXPECT_TRUE(std::is_sorted(chain.mFrameTimes.begin(), chain.mFrameTimes.end()));
        EXPECT_EQ(chain.first->freeBuffers(), 2U);
        if (HasFailure()) return;
    }
    EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), 0U);
}

TEST(ChainSeedTest, OutputsQueuedAfterTheFlushNoticeStayAndOthersMayNot) {
    const LogCapture log(ANDROID_LOG_ERROR);
    for (const bool waits : {true, false}) {
        int lost = 0;
        for (uint64_t seed = 0; seed < kSeeds; ++seed) {
            SeededChain chain(seed);
            chain.first->flush();
            while (waits && chain.client->count(APipe::kWhatFlushCompleted) == 0) {
                ASSERT_TRUE(chain.mScheduler.runOne());
            }
            chain.client->forget();
            chain.queueOutput();
            chain.queueInput();
            chain.mScheduler.runUntilIdle();
            lost += chain.client->count(APipe::kWhatOutputBufferDone) == 0 ? 1 : 0;
        }
        EXPECT_EQ(lost > 0, !waits);
    }
}

TEST(ChainSeedTest, NoEndLeaksAnything) {
    const LogCapture log(ANDROID_LOG_FATAL);
    for (uint64_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        std::vector<wp<RefBase>> objects;
        {
            SeededChain chain(seed);
            chain.last->mEngine = [&](const APipeItem& item) {
                objects.insert(objects.end(), {item.mInput, item.mOutput});
                return OK;
            };
            objects.insert(objects.end(), {chain.first, chain.last, chain.client});
            for (int step = 0; step < 60; ++step)
                chain.doSomething();
            if (chain.random() % 2 == 0) chain.first->flush();
            for (uint64_t n = chain.random() % 8; n > 0; --n)
                chain.mScheduler.runOne();
            if (chain.random() % 2 == 0) chain.first->release();
            for (uint64_t n = chain.random() % 8; n > 0; --n)
                chain.mScheduler.runOne();
            (chain.random() % 2 == 0 ? chain.first : chain.last).clear();
            for (uint64_t n = chain.random() % 8; n > 0; --n)
                chain.mScheduler.runOne();
        }
        for (const wp<RefBase>& object : objects)
            ASSERT_EQ(object.promote(), nullptr);
    }
}

}  // namespace
}  // namespace android
