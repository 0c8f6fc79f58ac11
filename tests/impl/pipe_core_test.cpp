// A stage's life, its intake, generations, parameters and pool.
#include <APipe.h>
#include <host/FaultInjection.h>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::inputItem;
using plexa::outputItem;
using plexa::pairItem;
using plexa::TestStage;

class PipeCoreTest : public plexa::ScheduledTest {
protected:
    status_t init(const sp<APipe>& pipe) {
        return pipe->init(formatOf(2, 16, 8), formatOf(2, 16, 8));
    }
    static sp<AMessage> metadata(int64_t timeUs) {
        sp<AMessage> meta = new AMessage;
        meta->setInt64("timeUs", timeUs);
        meta->setBuffer("frameMeta", new ABuffer(4));
        return meta;
    }
};

TEST_F(PipeCoreTest, TakesNothingBeforeItsOnInitHasRun) {
    const sp<TestStage> pipe = stage("A");
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
    ASSERT_EQ(init(pipe), OK);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
    EXPECT_EQ(pipe->queueItemMeta(metadata(0)), UNKNOWN_ERROR);
    run();
    EXPECT_EQ(mClient->count(APipe::kWhatInitCompleted), 1U);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), OK);
    EXPECT_EQ(pipe->queueItemMeta(metadata(0)), OK);
}

TEST_F(PipeCoreTest, RefusesWhatIsNoItemAndNoMetadata) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<AMessage> noTime = metadata(0), noBlob = new AMessage;
    noTime->clear();
    noTime->setBuffer("frameMeta", new ABuffer(4));
    noBlob->setInt64("timeUs", 0);
    EXPECT_EQ(pipe->queueItem(nullptr), BAD_VALUE);
    for (const sp<AMessage>& meta : {sp<AMessage>(), noTime, noBlob}) {
        EXPECT_EQ(pipe->queueItemMeta(meta), BAD_VALUE);
    }
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipe", "[A] queueItem"), 4U);
    EXPECT_EQ(run(), 0U);
}

TEST_F(PipeCoreTest, AFlushParsWhatIsBeforeItFromWhatIsAfter) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    pipe->setItemGenerator(nullptr);
    EXPECT_EQ(pipe->queueItem(pairItem(1, 11, 100)), OK);
    EXPECT_EQ(pipe->flush(), OK);
    EXPECT_EQ(pipe->queueItem(pairItem(2, 12, 200)), OK);
    run();
    EXPECT_EQ(mClient->bufferIds(APipe::kWhatOutputBufferDone), std::vector{12});
    EXPECT_EQ(mClient->count(APipe::kWhatFlushCompleted), 1U);
    EXPECT_EQ(pipe->getBufferGeneration(), 1);
}

TEST_F(PipeCoreTest, ANewGenerationMakesItemsAndMetadataStale) {
    struct Generator : APipeItemGenerator {
        Generator() : APipeItemGenerator("G") {}
        void pushItemMeta(const sp<AMessage>& meta) override { mMeta = meta; }
        sp<AMessage> mMeta;
    };
    const sp<TestStage> pipe = stage("A");
    const sp<Generator> generator = new Generator;
    pipe->setItemGenerator(generator);
    start(pipe);
    pipe->queueItem(inputItem(1, 100));
    pipe->queueItem(outputItem(11));
    pipe->queueItemMeta(metadata(100));
    pipe->setBufferGeneration();
    run();
    EXPECT_EQ(generator->mMeta, nullptr);
    EXPECT_EQ(pipe->mWorkCount, 0);

    pipe->queueItem(inputItem(2, 200));
    pipe->queueItemMeta(metadata(200));
    run();
    int64_t timeUs = 0;
    ASSERT_NE(generator->mMeta, nullptr);
    EXPECT_TRUE(generator->mMeta->findInt64("timeUs", &timeUs));
    EXPECT_EQ(timeUs, 200);
    EXPECT_TRUE(generator->mMeta->contains("frameMeta"));
    EXPECT_EQ(pipe->mWorkCount, 0) << "metadata alone starts no work";
    EXPECT_TRUE(mClient->notices().empty());
}

TEST_F(PipeCoreTest, AChainStartsFlushesAndEndsAsOne) {
    const sp<TestStage> last = stage("C"), middle = stage("B", last), first = stage("A", middle);
    EXPECT_EQ(first->getLastPipe(), last);
    EXPECT_EQ(last->getLastPipe(), last);
    start(first);
    for (const int32_t what : {APipe::kWhatFlushCompleted, APipe::kWhatReleaseCompleted}) {
        mClient->forget();
        what == APipe::kWhatFlushCompleted ? first->flush() : first->release();
        run();
        EXPECT_EQ(mClient->notices().size(), 1U);
        EXPECT_EQ(mClient->count(what), 1U);
    }
    for (const sp<TestStage>& each : {first, middle, last}) {
        EXPECT_EQ(each->getBufferGeneration(), 2);
        EXPECT_EQ(each->mState, TestStage::kStateInitialized);
        EXPECT_EQ(each->looper(), nullptr);
    }
}

TEST_F(PipeCoreTest, InitIsRefusedWhileTheLooperRuns) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<ALooper> looper = pipe->looper();
    EXPECT_EQ(init(pipe), INVALID_OPERATION);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "[A] init while the looper runs"));
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(pipe->looper(), looper);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), OK);
}

TEST_F(PipeCoreTest, AReleasedStageSaysSoAndCanStartAgain) {
    const sp<TestStage> last = stage("B"), pipe = stage("A", last);
    start(pipe);
    pipe->release();
    run();
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), INVALID_OPERATION);
    EXPECT_EQ(pipe->flush(), OK);
    EXPECT_EQ(pipe->release(), OK);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipe", "without a looper"), 3U);
    EXPECT_EQ(run(), 0U);

    mClient->forget();
    EXPECT_EQ(init(pipe), OK);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), UNKNOWN_ERROR) << "its onInit has not run";
    run();
    EXPECT_EQ(mClient->count(APipe::kWhatInitCompleted), 1U);
    EXPECT_EQ(pipe->queueItem(inputItem(2, 200)), OK);
    EXPECT_EQ(last->queueItem(outputItem(12)), OK);
    run();
    EXPECT_EQ(mClient->bufferIds(APipe::kWhatOutputBufferDone), std::vector{12});
}

TEST_F(PipeCoreTest, AnErrorEndsTheIntakeUntilReleaseAndInit) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    pipe->notifyError(-5);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
    EXPECT_EQ(pipe->queueItemMeta(metadata(0)), UNKNOWN_ERROR);
    EXPECT_EQ(pipe->flush(), OK);
    EXPECT_EQ(pipe->release(), OK);
    run();
    EXPECT_EQ(mClient->notices().at(0).err, -5);
    EXPECT_EQ(mClient->count(APipe::kWhatFlushCompleted), 1U);
    EXPECT_EQ(mClient->count(APipe::kWhatReleaseCompleted), 1U);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "[A] notifyError err (-5)"));
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
    mClient->forget();
    start(pipe);
    EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), OK);
}

TEST_F(PipeCoreTest, ABareStageKeepsItsItemsUntilAFlush) {
    struct Bare : APipe {
        using APipe::APipe;
        using APipe::mWorkItems;
    };
    const sp<Bare> pipe = new Bare(nullptr, mClient->notify(), "Bare");
    start(pipe);
    pipe->queueItem(pairItem(1, 11, 0));
    pipe->queueItem(inputItem(2, 0));
    run();
    EXPECT_EQ(pipe->mWorkItems.size(), 2U);
    EXPECT_TRUE(mClient->notices().empty());
    EXPECT_EQ(pipe->updateInputFormat(formatOf(2, 16, 8)), INVALID_OPERATION);
    pipe->flush();
    run();
    EXPECT_TRUE(pipe->mWorkItems.empty());
}

TEST_F(PipeCoreTest, ANextStageWithoutAPoolIsServedWithoutOne) {
    const sp<APipe> last = new APipe(nullptr, mClient->notify(), "B");
    const sp<APipe> first = new APipe(last, mClient->notify(), "A");
    first->setItemGenerator(new APipeItemGenerator("A"));
    start(first);
    EXPECT_EQ(first->queueItem(inputItem(1, 0)), OK);
    EXPECT_EQ(run(), 1U);
}

TEST_F(PipeCoreTest, ParametersReachThisStageAndThoseAfterIt) {
    const sp<TestStage> last = stage("C"), middle = stage("B", last), first = stage("A", middle);
    EXPECT_EQ(middle->setParameter(1, 2), OK);
    EXPECT_EQ(middle->setParameter(3, std::string("text")), OK);
    EXPECT_EQ(middle->setParameter(4, sp<AMessage>(new AMessage(9, nullptr))), OK);
    const std::vector<std::string> all = {"1=2", "3=text", "4=9"};
    EXPECT_TRUE(first->mParameters.empty());
    EXPECT_EQ(middle->mParameters, all);
    EXPECT_EQ(last->mParameters, all);
}

TEST_F(PipeCoreTest, RangesTagThePendingInputs) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<APipeItem> item = inputItem(1, 150);
    pipe->queueItem(item);
    pipe->setRangeInfos({{100, 200, 7}});
    pipe->setRangeInfos({});
    run();
    int32_t operation = 0;
    EXPECT_TRUE(item->mInput->getMeta()->findInt32("operation", &operation));
    EXPECT_EQ(operation, 7);
    EXPECT_TRUE(pipe->mRangeInfos.empty());
}

TEST_F(PipeCoreTest, StrangeMessagesAreLoggedAndDropped) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<AMessage> unknown = new AMessage(6, pipe), empty = new AMessage(0x73524966, pipe);
    unknown->post();
    empty->post();
    run();
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "undefined message 6"));
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "SetRangeInfoParameter does not exist!"));
}

TEST_F(PipeCoreTest, ThePoolFollowsTheFormatAskedFor) {
    struct Case {
        int32_t requested, format, memory;
    };
    const sp<TestStage> last = stage("B"), pipe = stage("A", last);
    for (const Case& c : {Case{2, 2, 2},
                          {1, 1, 2},
                          {5, 4, 0},
                          {6, 3, 0},
                          {9, 9, 0},
                          {12, 3, 2},
                          {3, 3, 2},
                          {4, 2, 2}}) {
        SCOPED_TRACE(c.requested);
        const auto requested = static_cast<APipeBuffer::ColorFormat>(c.requested);
        ASSERT_EQ(pipe->setBufferInfo(1, 32, 16, requested, false), OK);
        const sp<APipeBuffer> buffer = pipe->mBufferPool->acquireBuffer(false);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->getColorFormat(), c.format);
        EXPECT_EQ(buffer->getMemoryType(), c.memory);
        EXPECT_EQ(buffer->getWidth(), 32);
        EXPECT_EQ(buffer->getHeight(), 16);
        EXPECT_EQ(pipe->mBufferPool->acquireBuffer(false), nullptr);
    }
    for (const int32_t unknown : {7, 13}) {
        const auto requested = static_cast<APipeBuffer::ColorFormat>(unknown);
        EXPECT_EQ(pipe->setBufferInfo(1, 32, 16, requested, false), UNKNOWN_ERROR);
    }
    EXPECT_EQ(last->setBufferInfo(1, 32, 16, APipeBuffer::Nv12, false), OK);
    EXPECT_EQ(last->mBufferPool, nullptr);
}

// On real threads: a scheduler's loopers have none that could be refused.
TEST(PipeThreadTest, AThreadThatCannotBeHadIsAnErrorOfInit) {
    const plexa::LogCapture log;
    const sp<plexa::ClientHandler> client = plexa::ClientHandler::create();
    const sp<TestStage> last = new TestStage(nullptr, client->notify(), "B", 0);
    const sp<TestStage> first = new TestStage(last, client->notify(), "A", 1);
    const sp<AMessage> format = formatOf(2, 16, 8);

    host::FaultInjection::failNth(host::Fault::ThreadStart, 1);
    EXPECT_EQ(first->init(format, format), UNKNOWN_ERROR);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "APipe", "[A] init failed to start the looper"));
    EXPECT_EQ(first->looper(), nullptr);

    host::FaultInjection::failNth(host::Fault::ThreadStart, 2);
    EXPECT_EQ(first->init(format, format), OK);
    ASSERT_TRUE(client->waitFor(APipe::kWhatError)) << "the next stage did not start";
    EXPECT_EQ(first->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
    EXPECT_EQ(client->count(APipe::kWhatInitCompleted), 0U);
    host::FaultInjection::clear();
}

}  // namespace
}  // namespace android
