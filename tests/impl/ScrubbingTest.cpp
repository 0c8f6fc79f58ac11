// A player that pauses, seeks and resumes on a colour-conversion stage before a filter stage.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/ScheduledTest.h"

namespace plexa {
namespace {

using namespace android;
using Times = std::vector<int64_t>;

constexpr int64_t kFrameUs = 40000;
constexpr int kPoolSize = 3;

bool isMarked(const sp<APipeBuffer>& buffer, const char* key) {
    int32_t value = 0;
    return buffer->getMeta()->findInt32(key, &value) && value != 0;
}

int64_t timeOf(const sp<APipeBuffer>& buffer) {
    int64_t timeUs = -1;
    buffer->getMeta()->findInt64("timeUs", &timeUs);
    return timeUs;
}

// While paused it leaves returned buffers alone, unless its next frame is urgent. It passes on that
// someone waits for a frame.
// Threading: as APipe.
class ConversionStage : public TestStage {
public:
    ConversionStage(const sp<APipe>& next, const sp<AMessage>& notify)
        : TestStage(next, notify, "conversion", kPoolSize) {
        setItemGenerator(mGenerator);
        mEngine = [this](const APipeItem& item) {
            mConverted.push_back(timeOf(item.mInput));
            if (isMarked(item.mInput, "use-wait-buffer")) {
                item.mOutput->getMeta()->setInt32("use-wait-buffer", 1);
            }
            return OK;
        };
    }

    const sp<APipeCSCItemGenerator> mGenerator = new APipeCSCItemGenerator;
    Times mConverted;

protected:
    bool isNeededSkipOnWork() override { return mGenerator->isNeededSkip(); }
};

// The last stage; it notes which of its frames carry a seek.
// Threading: as APipe.
class FilterStage : public TestStage {
public:
    explicit FilterStage(const sp<AMessage>& notify) : TestStage(nullptr, notify, "filter", 0) {
        setItemGenerator(mGenerator);
        mEngine = [this](const APipeItem& item) {
            if (isMarked(item.mInput, "buffer-for-seek")) mSought.push_back(timeOf(item.mInput));
            return OK;
        };
    }

    const sp<APipeFilterItemGenerator> mGenerator = new APipeFilterItemGenerator;
    Times mSought;
};

// Plays on a chain as a player does: frames come from a decoder that runs ahead, and the screen
// gives an output for each frame that it is to show: none while paused, but one for each seek.
class ScrubbingTest : public ScheduledTest, public testing::WithParamInterface<uint64_t> {
protected:
    ScrubbingTest() : ScheduledTest(GetParam()), mRandom(GetParam()) { start(mConversion); }

    void decode(int64_t timeUs, bool someoneWaits = false) {
        const sp<APipeItem> item = inputItem(mNextId++, timeUs);
        if (someoneWaits) item->mInput->getMeta()->setInt32("use-wait-buffer", 1);
        ASSERT_EQ(mConversion->queueItem(item), OK);
    }
    void giveOutput() { ASSERT_EQ(mFilter->queueItem(outputItem(mNextId++)), OK); }
    void setPaused(bool paused) {
        mConversion->mGenerator->mPaused = paused;
        mFilter->mGenerator->mPaused = paused;
    }
    // The frames from here on, one after the other.
    void play(int64_t timeUs, int count) {
        for (int i = 0; i < count; ++i) {
            decode(timeUs + i * kFrameUs);
            giveOutput();
            runABit();
        }
        run();
    }
    // What the chain has is forgotten; the frame at this time comes next.
    void seek(int64_t timeUs) {
        mConversion->flush();
        run();
        decode(timeUs);
        giveOutput();
    }
    void runABit() { mScheduler.runUntilIdle(mRandom() % 6); }

    // The times of the frames shown since the last call.
    Times takeShown() {
        Times shown;
        for (const ClientHandler::Notice& notice : mClient->notices()) {
            if (notice.what == APipe::kWhatOutputBufferDone) shown.push_back(notice.timeUs);
        }
        mClient->forget();
        return shown;
    }

    const sp<FilterStage> mFilter = new FilterStage(mClient->notify());
    const sp<ConversionStage> mConversion = new ConversionStage(mFilter, mClient->notify());
    std::mt19937_64 mRandom;
    int32_t mNextId = 0;
};

TEST_P(ScrubbingTest, AReturnedBufferStartsOnlyUrgentFramesWhilePaused) {
    setPaused(true);
    for (int i = 0; i < kPoolSize; ++i)
        decode(i);
    run();
    decode(10);
    decode(20, true);
    run();
    ASSERT_EQ(mConversion->mConverted, (Times{0, 1, 2})) << "the pool is empty";
    giveOutput();
    run();
    EXPECT_EQ(mConversion->mConverted, (Times{0, 1, 2})) << "frame 10 can wait";

    setPaused(false);
    decode(30);
    run();
    EXPECT_EQ(mConversion->mConverted, (Times{0, 1, 2, 10}));
    setPaused(true);
    giveOutput();
    run();
    EXPECT_EQ(mConversion->mConverted, (Times{0, 1, 2, 10, 20})) << "someone waits for frame 20";
}

// Seeks follow each other faster than frames are shown, and the decoder runs ahead of the player.
TEST_P(ScrubbingTest, TheLastSeekWinsHoweverFastTheyCome) {
    for (int round = 0; round < 20; ++round) {
        int64_t target = 0;
        setPaused(true);
        for (uint64_t seeks = 1 + mRandom() % 4; seeks > 0; --seeks) {
            target = static_cast<int64_t>(mRandom() % 250) * kFrameUs;
            seek(target);
            for (uint64_t ahead = mRandom() % 6; ahead > 0; --ahead)
                decode(target + static_cast<int64_t>(ahead) * kFrameUs);
            runABit();
        }
        run();
        const Times shown = takeShown();
        ASSERT_FALSE(shown.empty());
        ASSERT_EQ(shown.back(), target);
        ASSERT_EQ(mFilter->mSought.back(), target);

        mConversion->flush();
        run();
        setPaused(false);
        mFilter->mSought.clear();
        play(target, 5);
        EXPECT_EQ(takeShown().size(), 5U);
        EXPECT_EQ(mFilter->mSought, Times()) << "a mark outlived its seek";
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ScrubbingTest, testing::Range<uint64_t>(1, 11));

}  // namespace
}  // namespace plexa
