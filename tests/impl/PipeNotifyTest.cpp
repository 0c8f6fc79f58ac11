// What a stage tells its client, and how buffers find home or the next stage.
#include <APipe.h>
#include <host/TraceSink.h>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::inputItem;
using plexa::outputItem;
using plexa::pairItem;
using plexa::TestStage;
using Ids = std::vector<int32_t>;

constexpr int32_t kInputDone = APipe::kWhatInputBufferDone;
constexpr int32_t kOutputDone = APipe::kWhatOutputBufferDone;

class PipeNotifyTest : public plexa::ScheduledTest {
protected:
    plexa::ClientHandler::Notice lastNotice() {
        run();
        return mClient->notices().empty() ? plexa::ClientHandler::Notice()
                                          : mClient->notices().back();
    }
};

TEST_F(PipeNotifyTest, TheFrameRecordGoesWithTheFrame) {
    const sp<TestStage> pipe = stage("A");
    int worked = 0;
    pipe->mEngine = [&](const auto&) { return ++worked, OK; };
    start(pipe);
    const sp<APipeItem> plain = inputItem(1, 100), marked = inputItem(2, 200);
    marked->mInput->getMeta()->setInt32("eos", 1);
    marked->mInput->getMeta()->setInt32("operation", 3);
    marked->mInput->getMeta()->setInt32("surfaceId", 5);
    for (const sp<APipeItem>& input : {plain, marked}) {
        const sp<APipeItem> output = outputItem(10);
        const sp<AMessage> record = output->mOutput->getMeta();
        pipe->queueItem(output);
        pipe->queueItem(input);
        run();
        int64_t timeUs = 0;
        int32_t eos = -1, operation = -1;
        record->findInt64("timeUs", &timeUs);
        record->findInt32("eos", &eos);
        record->findInt32("operation", &operation);
        EXPECT_EQ(timeUs, input == plain ? 100 : 200);
        EXPECT_EQ(eos, input == plain ? 0 : 1);
        EXPECT_EQ(operation, input == plain ? -1 : 3);
    }
    EXPECT_EQ(worked, 1) << "a frame marked eos passes as it is";
    EXPECT_EQ(mClient->count(kOutputDone), 2U);
    for (const auto& notice : mClient->notices()) {
        const int32_t surfaceId = notice.bufferId == 2 ? 5 : -1;
        EXPECT_TRUE(notice.what != kInputDone || notice.surfaceId == surfaceId);
    }
}

TEST_F(PipeNotifyTest, AnOutputGoesOnWithAFrameAndHomeWithout) {
    const sp<TestStage> last = stage("B"), first = stage("A", last, 1);
    start(first);
    const sp<APipeBuffer> output = outputItem(7)->mOutput;
    output->getMeta()->setInt64("timeUs", 900);
    last->notifyOutputBufferDone(output, APipe::kBufferWithoutFrame);
    EXPECT_EQ(lastNotice().timeUs, -1);
    EXPECT_EQ(lastNotice().flag, 0);
    last->notifyOutputBufferDone(output, static_cast<APipe::BufferFlag>(5));
    EXPECT_EQ(lastNotice().flag, 5);
    EXPECT_EQ(lastNotice().timeUs, -1);
    last->notifyOutputBufferDone(output, APipe::kBufferWithFrame);
    EXPECT_EQ(lastNotice().timeUs, 900);
    EXPECT_EQ(lastNotice().bufferId, 7);

    mClient->forget();
    const sp<APipeBuffer> pooled = first->mBufferPool->acquireBuffer(false);
    first->setReply(pooled);
    first->notifyOutputBufferDone(pooled, APipe::kBufferWithoutFrame);
    run();
    EXPECT_EQ(first->freeBuffers(), 1U);
    EXPECT_TRUE(mClient->notices().empty());
    first->notifyOutputBufferDone(output, APipe::kBufferWithoutFrame);
    EXPECT_EQ(lastNotice().what, kOutputDone) << "a client's buffer has no other way home";
}

TEST_F(PipeNotifyTest, AnOutputSomeoneWaitsForGoesFirst) {
    const sp<TestStage> last = stage("B"), first = stage("A", last);
    start(first);
    for (const int32_t id : {1, 2}) {
        const sp<APipeBuffer> output = inputItem(id, id)->mInput;
        if (id == 2) output->getMeta()->setInt32("use-wait-buffer", 1);
        first->notifyOutputBufferDone(output, APipe::kBufferWithFrame);
    }
    while (!first->mOutputItems.empty())
        first->onWork();
    for (const int32_t id : {11, 12})
        last->queueItem(outputItem(id));
    run();
    EXPECT_EQ(mClient->bufferIds(kInputDone), (Ids{2, 1}));
}

TEST_F(PipeNotifyTest, AnUnworkableItemGoesHomeAndIsAnError) {
    const sp<APipeItem> noInput = outputItem(11), noOutput = inputItem(1, 0),
                        noTime = pairItem(1, 11, 0), nothing = new APipeItem;
    noTime->mInput->getMeta()->clear();
    noTime->mInput->getMeta()->setInt32("bufferId", 1);
    noTime->mSubInput = inputItem(2, 0)->mInput;
    struct Case {
        const char* log;
        sp<APipeItem> item;
        Ids inputs, outputs;
    };
    for (const Case& c : {Case{"[A] onWork item without an input", noInput, {}, {11}},
                          Case{"[A] onWork item without an output", noOutput, {1}, {}},
                          Case{"[A] onWork item without the input's", noTime, {1, 2}, {11}},
                          Case{"[A] onWork item without an input", nothing, {}, {}}}) {
        mLog.clear();
        mClient->forget();
        const sp<TestStage> pipe = stage("A");
        start(pipe);
        pipe->setItemGenerator(nullptr);
        pipe->queueItem(c.item);
        run();
        EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", c.log)) << c.log;
        EXPECT_EQ(mClient->bufferIds(kInputDone), c.inputs) << c.log;
        EXPECT_EQ(mClient->bufferIds(kOutputDone), c.outputs) << c.log;
        EXPECT_EQ(mClient->notices().back().err, UNKNOWN_ERROR) << c.log;
        EXPECT_TRUE(pipe->mWorkItems.empty()) << c.log;
        EXPECT_EQ(pipe->mState, TestStage::kStateError) << c.log;
    }
}

TEST_F(PipeNotifyTest, APoolBufferInAStaleItemComesHome) {
    const sp<TestStage> last = stage("B"), first = stage("A", last, 1);
    start(first);
    first->queueItem(inputItem(1, 1));
    mScheduler.runOne();
    last->setBufferGeneration();
    run();
    EXPECT_EQ(last->mWorkCount, 0);
    EXPECT_EQ(first->freeBuffers(), 1U);
}

TEST_F(PipeNotifyTest, WithoutANotifyMessageAStageWorksInSilence) {
    const sp<ABuffer> data = new ABuffer(3);
    stage("A")->notifyExtraData(data);
    EXPECT_EQ(lastNotice().what, APipe::kWhatExtraData);
    EXPECT_EQ(lastNotice().extraData, data);

    mClient->forget();
    const sp<TestStage> pipe = new TestStage(nullptr, nullptr, "A", 0);
    pipe->init(formatOf(2, 16, 8), formatOf(2, 16, 8));
    run();
    pipe->queueItem(inputItem(1, 0));
    pipe->queueItem(outputItem(11));
    pipe->notifyExtraData(data);
    run();
    EXPECT_EQ(pipe->mWorkCount, 1);
    pipe->notifyError(-1);
    EXPECT_EQ(pipe->mState, TestStage::kStateError);
    pipe->flush();
    pipe->release();
    run();
    EXPECT_TRUE(mClient->notices().empty());
}

TEST_F(PipeNotifyTest, WhatAGeneratorRefusesOrDropsComesHome) {
    struct Generator : APipeItemGenerator {
        Generator() : APipeItemGenerator("G") {}
        void pushItemMeta(const sp<AMessage>&) override {
            drop(&APipeItem::mInput, *mInputBuffers.begin());
            mInputBuffers.clear();
        }
    };
    const sp<TestStage> pipe = stage("A");
    pipe->setItemGenerator(new Generator);
    start(pipe);
    pipe->queueItem(pairItem(1, 11, 100));
    pipe->queueItem(inputItem(2, 200));
    const sp<AMessage> meta = new AMessage;
    meta->setInt64("timeUs", 200);
    meta->setBuffer("frameMeta", new ABuffer(1));
    pipe->queueItemMeta(meta);
    run();
    EXPECT_EQ(mClient->bufferIds(kInputDone), (Ids{1, 2}));
    EXPECT_EQ(mClient->bufferIds(kOutputDone), Ids{11});
    EXPECT_EQ(mClient->notices().at(1).flag, APipe::kBufferWithoutFrame);
    EXPECT_EQ(pipe->getCounts().givenUp, 3);
    EXPECT_EQ(pipe->mState, TestStage::kStateInitialized);
}

TEST_F(PipeNotifyTest, AnOutputThatTheClientCannotKnowIsAnError) {
    const sp<TestStage> pipe = stage("A");
    start(pipe);
    const sp<APipeItem> unknown = outputItem(11), untimed = outputItem(12);
    unknown->mOutput->getMeta()->clear();
    pipe->notifyOutputBufferDone(unknown->mOutput, APipe::kBufferWithFrame);
    EXPECT_EQ(lastNotice().what, APipe::kWhatError);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipe", "without \"bufferId\""));
    pipe->notifyOutputBufferDone(untimed->mOutput, APipe::kBufferWithFrame);
    EXPECT_EQ(lastNotice().bufferId, 12);
    EXPECT_EQ(lastNotice().flag, APipe::kBufferWithoutFrame);
    EXPECT_EQ(mClient->count(APipe::kWhatError), 2U);
}

TEST_F(PipeNotifyTest, AReplyIsGoodForItsGenerationOnly) {
    const sp<TestStage> last = stage("B"), first = stage("A", last, 1);
    start(first);
    const sp<APipeBuffer> buffer = first->mBufferPool->acquireBuffer(false);
    first->setReply(buffer);
    first->setBufferGeneration();
    buffer->release();
    run();
    EXPECT_TRUE(
        logged(ANDROID_LOG_INFO, "APipe", "[A] onBufferReturned generation is not matched"));
    EXPECT_EQ(first->freeBuffers(), 0U);
    first->flush();
    run();
    EXPECT_EQ(first->freeBuffers(), 1U);
}

TEST_F(PipeNotifyTest, ATraceTellsWhatHappensToAFrame) {
    struct Sink final : host::TraceSink {
        void begin(const char* name) override { mEvents.push_back(std::string("begin ") + name); }
        void end() override { mEvents.emplace_back("end"); }
        void asyncBegin(const char* name, int32_t cookie) override {
            mEvents.push_back(name + (" of " + std::to_string(cookie)));
        }
        void asyncEnd(const char* name, int32_t cookie) override {
            mEvents.push_back(name + (" of " + std::to_string(cookie) + " over"));
        }
        void counter(const char*, int64_t) override {}
        std::vector<std::string> mEvents;
    } sink;
    const sp<TestStage> last = stage("B"), first = stage("A", last, 1);
    start(first);
    host::setTraceSink(&sink);
    first->queueItem(inputItem(1, 1));
    run();
    last->setBufferGeneration();
    last->queueItem(pairItem(2, 12, 2));
    run();
    host::setTraceSink(nullptr);
    EXPECT_EQ(sink.mEvents,
              (std::vector<std::string>{"frame of 1", "A waits of 1", "A waits of 1 over",
                                        "begin A 1", "end", "B waits of 1", "frame of 2",
                                        "B waits of 2", "begin B dropped 2: given up",
                                        "B waits of 2 over", "frame of 2 over", "end"}));
}

}  // namespace
}  // namespace android
