// A stage's intake, generations, parameters and pool. What each call comes to in each state is in
// MatrixTest.cpp.
#include <APipe.h>

#include <utility>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::inputItem;
using plexa::outputItem;
using plexa::pairItem;
using plexa::TestStage;

sp<AMessage> metadata(int64_t timeUs) {
    sp<AMessage> meta = new AMessage;
    meta->setInt64("timeUs", timeUs);
    meta->setBuffer("frameMeta", new ABuffer(4));
    return meta;
}

class PipeCoreTest : public plexa::ScheduledTest {
protected:
    static void expectIntake(const sp<APipe>& pipe, status_t status) {
        EXPECT_EQ(pipe->queueItem(inputItem(1, 0)), status);
        EXPECT_EQ(pipe->queueItemMeta(metadata(0)), status);
    }
};

TEST_F(PipeCoreTest, RefusesWhatIsNoItemAndNoMetadata) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<AMessage> noTime = new AMessage, noBlob = new AMessage, nullBlob = metadata(0);
    noTime->setBuffer("frameMeta", new ABuffer(4));
    noBlob->setInt64("timeUs", 0);
    nullBlob->setBuffer("frameMeta", nullptr);
    EXPECT_EQ(pipe->queueItem(nullptr), BAD_VALUE);
    for (const sp<AMessage>& meta : {sp<AMessage>(), noTime, noBlob, nullBlob})
        EXPECT_EQ(pipe->queueItemMeta(meta), BAD_VALUE);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipe", "[A] queueItem"), 5U);
    EXPECT_EQ(run(), 0U);
}

TEST_F(PipeCoreTest, AFlushPartsWhatIsBeforeItFromWhatIsAfter) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    pipe->setItemGenerator(nullptr);
    EXPECT_EQ(pipe->queueItem(pairItem(1, 11, 100)), OK);
    EXPECT_EQ(pipe->flush(), OK);
    EXPECT_EQ(pipe->queueItem(pairItem(2, 12, 200)), OK);
    run();
    EXPECT_EQ(mClient->bufferIds(APipe::kWhatOutputBufferDone), std::vector{12});
    EXPECT_EQ(mClient->count(APipe::kWhatFlushCompleted), 1U);
}

TEST_F(PipeCoreTest, ANewGenerationMakesItemsAndMetadataStale) {
    struct Generator : APipeItemGenerator {
        Generator() : APipeItemGenerator("G") {}
        void pushItem(const sp<APipeItem>&) override { ++mItems; }
        void pushItemMeta(const sp<AMessage>& meta) override { mMeta = meta; }
        int mItems = 0;
        sp<AMessage> mMeta;
    };
    const sp<TestStage> pipe = stage("A");
    const sp<Generator> generator = new Generator;
    pipe->setItemGenerator(generator);
    start(pipe);
    expectIntake(pipe, OK);
    pipe->setBufferGeneration();
    run();
    EXPECT_EQ(generator->mItems, 0);
    EXPECT_EQ(generator->mMeta, nullptr);
    expectIntake(pipe, OK);
    run();
    EXPECT_EQ(generator->mItems, 1);
    ASSERT_NE(generator->mMeta, nullptr);
    EXPECT_TRUE(generator->mMeta->contains("timeUs") && generator->mMeta->contains("frameMeta"));
}

TEST_F(PipeCoreTest, ABufferComesBackToTheStageThatAskedLast) {
    struct Owner : TestStage {
        using TestStage::TestStage;
        bool onBufferReturned(const sp<AMessage>& msg) override {
            ++mReturned;
            return TestStage::onBufferReturned(msg);
        }
        int mReturned = 0;
    };
    const sp<Owner> last = new Owner(nullptr, mClient->notify(), "B", 1);
    const sp<Owner> first = new Owner(last, mClient->notify(), "A", 1);
    start(first);
    const sp<APipeBuffer> buffer = inputItem(1, 0)->mInput;
    const auto returned = [&](const sp<Owner>& owner) {
        owner->setReply(buffer);
        buffer->release();
        run();
        return std::pair(first->mReturned, last->mReturned);
    };
    EXPECT_EQ(returned(first), std::pair(1, 0));
    EXPECT_EQ(returned(last), std::pair(1, 1));
    EXPECT_EQ(returned(first), std::pair(2, 1));
    buffer->getMeta()->setMessage("reply", mClient->notify());
    EXPECT_EQ(returned(first), std::pair(3, 1));
}

TEST_F(PipeCoreTest, BareStagesKeepTheirItemsUntilAFlush) {
    struct Bare : APipe {
        using APipe::APipe;
        using APipe::mWorkItems;
    };
    const sp<Bare> last = new Bare(nullptr, mClient->notify(), "B");
    const sp<Bare> first = new Bare(last, mClient->notify(), "A");
    first->setItemGenerator(new APipeItemGenerator("A"));
    start(first);
    first->queueItem(inputItem(1, 0));
    last->queueItem(inputItem(2, 0));
    last->queueItem(pairItem(3, 13, 0));
    run();
    EXPECT_EQ(last->mWorkItems.size(), 2U);
    EXPECT_TRUE(mClient->notices().empty());
    EXPECT_EQ(first->updateInputFormat(formatOf(2, 16, 8)), INVALID_OPERATION);
    first->flush();
    run();
    EXPECT_TRUE(last->mWorkItems.empty());
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

TEST_F(PipeCoreTest, RangesTagThePendingInputsAndStrangeMessagesAreLogged) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<APipeItem> item = inputItem(1, 150);
    pipe->queueItem(item);
    pipe->setRangeInfos({{100, 200, 7}});
    pipe->setRangeInfos({});
    for (const sp<RefBase>& object : {sp<RefBase>(), sp<RefBase>(item)}) {
        const sp<AMessage> ranges = new AMessage(0x73524966U, pipe);
        ranges->setObject("SetRangeInfosParameter", object);
        ranges->post();
    }
    sp<AMessage>(new AMessage(6, pipe))->post();
    run();
    int32_t operation = 0;
    EXPECT_TRUE(item->mInput->getMeta()->findInt32("operation", &operation));
    EXPECT_EQ(operation, 7);
    EXPECT_TRUE(pipe->mRangeInfos.empty());
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "undefined message 6"));
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipe", "SetRangeInfoParameter does not exist!"), 2U);
}

TEST_F(PipeCoreTest, ThePoolFollowsTheFormatAskedFor) {
    struct Case {
        int32_t requested, format, memory;
    };
    const sp<TestStage> last = stage("B"), pipe = stage("A", last);
    const auto setUp = [](const sp<TestStage>& stage, int32_t format) {
        return stage->setBufferInfo(1, 32, 16, static_cast<APipeBuffer::ColorFormat>(format),
                                    false);
    };
    for (const Case& c : {Case{2, 2, 2}, Case{1, 1, 2}, Case{5, 4, 0}, Case{6, 3, 0}, Case{9, 9, 0},
                          Case{12, 3, 2}, Case{3, 3, 2}, Case{4, 2, 2}}) {
        SCOPED_TRACE(c.requested);
        ASSERT_EQ(setUp(pipe, c.requested), OK);
        const sp<APipeBuffer> buffer = pipe->mBufferPool->acquireBuffer(false);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->getColorFormat(), c.format);
        EXPECT_EQ(buffer->getMemoryType(), c.memory);
        EXPECT_EQ(buffer->getWidth(), 32);
        EXPECT_EQ(buffer->getHeight(), 16);
        EXPECT_EQ(pipe->mBufferPool->acquireBuffer(false), nullptr);
    }
    EXPECT_EQ(setUp(pipe, 7), UNKNOWN_ERROR);
    EXPECT_EQ(setUp(pipe, 13), UNKNOWN_ERROR);
    EXPECT_EQ(setUp(last, 2), OK);
    EXPECT_EQ(last->mBufferPool, nullptr);
}

}  // namespace
}  // namespace android
