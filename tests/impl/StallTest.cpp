// A chain that does not move says why: the mistakes that clients and stages of one's own make.
#include <APipe.h>

#include <regex>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::Awaited;
using plexa::ClientHandler;
using plexa::eventually;
using plexa::formatOf;
using plexa::inputItem;
using plexa::kFrameHeight;
using plexa::kFrameWidth;
using plexa::outputItem;
using plexa::ScheduledTest;
using plexa::TestStage;

constexpr int64_t kStallUs = 1'000'000;
#ifdef NDEBUG
constexpr bool kMisuseIsNamed = false;
#else
constexpr bool kMisuseIsNamed = true;
#endif

// A stage whose author forgets things.
struct OwnStage : TestStage {
    using TestStage::TestStage;

    void onInit(const sp<AMessage>& msg) override {
        if (!mForgetsInit) TestStage::onInit(msg);
    }
    void onWork() override {
        if (mOwnWork == nullptr) return TestStage::onWork();
        mOwnWork(this);
    }
    void keepItem() {
        mKept.push_back(*mWorkItems.begin());
        mWorkItems.erase(mWorkItems.begin());
    }
    void keepInput() {
        keepItem();
        mKept.front()->mOutput->getMeta()->setInt64("timeUs", 0);
        notifyOutputBufferDone(mKept.front()->mOutput, kBufferWithFrame);
        APipe::onWork();
    }

    bool mForgetsInit = false;
    void (*mOwnWork)(OwnStage*) = nullptr;
    std::vector<sp<APipeItem>> mKept;
};

// Three stages, of which the second is somebody's own.
class StallTest : public ScheduledTest {
public:
    void TestBody() override {}

    void make(int poolSize = 2) {
        last = stage("Last");
        own = new OwnStage(last, mClient->notify(), "Own", poolSize);
        first = stage("First", own);
    }
    void start() {
        const sp<AMessage> format = formatOf(2, kFrameWidth, kFrameHeight);
        first->init(format, format);
        run();
    }
    void begin(void (*work)(OwnStage*) = nullptr) {
        make();
        own->mOwnWork = work;
        start();
    }
    void queueInputs(int count, const sp<TestStage>& to) {
        for (int32_t id = 1; id <= count; ++id)
            to->queueItem(inputItem(id, id));
        run();
    }
    void queueOutputs(int count) {
        for (int32_t id = 11; id < 11 + count; ++id)
            last->queueItem(outputItem(id));
        run();
    }
    void passTime() {
        for (int i = 0; i < 3; ++i) {
            mScheduler.advance(kStallUs);
            run();
        }
    }
    using ScheduledTest::logged;
    using ScheduledTest::mClient;
    using ScheduledTest::mLog;
    using ScheduledTest::mScheduler;
    using ScheduledTest::run;
    sp<TestStage> last;
    sp<OwnStage> own;
    sp<TestStage> first;
};

struct Mistake {
    const char* what;
    int32_t priority;
    const char* line;
    void (*make)(StallTest& test);
};

const Mistake kMistakes[] = {
    {"no outputs queued", ANDROID_LOG_INFO,
     "[Last] stalled: waits for an output from the client: 2 inputs queued, none pending",
     [](StallTest& test) {
         test.begin();
         test.queueInputs(2, test.first);
     }},
    {"a stage keeps an item", ANDROID_LOG_WARN,
     "[Own] stalled: keeps 2 buffers that it took from mWorkItems",
     [](StallTest& test) {
         test.begin([](OwnStage* stage) { stage->keepItem(); });
         test.queueInputs(1, test.first);
     }},
    {"input never sent home", ANDROID_LOG_WARN,
     "[First] stalled: waits for a free pool buffer: 2 of 2 are with Own since",
     [](StallTest& test) {
         test.begin([](OwnStage* stage) { stage->keepInput(); });
         test.queueOutputs(1);
         test.queueInputs(4, test.first);
     }},
    {"onWork does nothing", ANDROID_LOG_WARN,
     "[Own] stalled: has 1 item to work on and took no step",
     [](StallTest& test) {
         test.begin([](OwnStage*) {});
         test.queueInputs(1, test.first);
     }},
    {"onWork does not call the base version", ANDROID_LOG_WARN,
     "[Own] stalled: has 1 output for the next stage and does not send them",
     [](StallTest& test) {
         test.begin([](OwnStage* stage) {
             stage->keepItem();
             stage->notifyInputBufferDone(stage->mKept.front()->mInput);
             stage->notifyOutputBufferDone(stage->mKept.front()->mOutput, APipe::kBufferWithFrame);
         });
         test.queueInputs(1, test.first);
     }},
    {"base onInit not called", ANDROID_LOG_WARN,
     "[Own] stalled: its onInit never called APipe::onInit",
     [](StallTest& test) {
         test.make();
         test.own->mForgetsInit = true;
         test.start();
     }},
    {"pool of 0", ANDROID_LOG_WARN,
     "[Own] stalled: waits for a free pool buffer: its pool has none, setBufferInfo asked for 0",
     [](StallTest& test) {
         test.make(0);
         test.start();
         test.queueInputs(1, test.first);
     }},
    {"input without \"bufferId\"", ANDROID_LOG_WARN,
     "[First] the input of frame 1 has neither \"bufferId\" nor \"reply\"",
     [](StallTest& test) {
         test.begin();
         const sp<APipeItem> item = inputItem(1, 1);
         item->mInput->getMeta()->clear();
         item->mInput->getMeta()->setInt64("timeUs", 1);
         test.first->queueItem(item);
         test.run();
     }},
    {"client's loop not started", ANDROID_LOG_INFO,
     "[Last] stalled: its client's loop has not taken 1 notice",
     [](StallTest& test) {
         static const sp<ClientHandler> deaf = [] {
             sp<ClientHandler> client = ClientHandler::create();
             client->stop();
             return client;
         }();
         test.mClient = deaf;
         test.begin();
     }},
    {"outputs queued before the flush notice", ANDROID_LOG_INFO,
     "[Last] stalled: waits for an output from the client: 2 inputs queued, none pending; its last "
     "flush forgot 1 buffer: queue outputs after the flush-completed notice",
     [](StallTest& test) {
         test.begin();
         test.first->flush();
         test.last->queueItem(outputItem(11));
         test.mScheduler.runOne();
         test.run();
         test.queueInputs(2, test.first);
     }},
    {"items before init completes", ANDROID_LOG_WARN,
     "[First] queueItem refused: init has not completed; wait for the init-completed notice",
     [](StallTest& test) {
         test.make();
         test.queueInputs(2, test.first);
     }},
    {"items after an error", ANDROID_LOG_WARN,
     "[First] queueItem refused: the stage is in error; release the chain and call init again",
     [](StallTest& test) {
         test.begin();
         test.first->notifyError(UNKNOWN_ERROR);
         test.queueInputs(2, test.first);
     }},
    {"items after a release", ANDROID_LOG_WARN,
     "[First] queueItem refused: it has no looper: not initialised, or released",
     [](StallTest& test) {
         test.begin();
         test.first->release();
         test.run();
         test.queueInputs(2, test.first);
     }},
    {"an engine that fails", ANDROID_LOG_ERROR,
     "[Own] the work on frame 1 failed: TIMED_OUT (-110)",
     [](StallTest& test) {
         test.begin();
         test.own->mEngine = [](const APipeItem&) { return TIMED_OUT; };
         test.queueInputs(1, test.first);
     }},
    {"last metadata missing", ANDROID_LOG_INFO, "[Last] stalled: waits for metadata of frame 1",
     [](StallTest& test) {
         test.make();
         test.last->setItemGenerator(new APipePortraitItemGenerator);
         test.start();
         test.queueOutputs(1);
         const sp<APipeItem> subInput = inputItem(2, 1);
         subInput->mSubInput = std::move(subInput->mInput);
         test.last->queueItem(subInput);
         test.queueInputs(1, test.last);
     }},
    {"a paused stage with inputs pending", ANDROID_LOG_INFO,
     "[Last] stalled: is paused with 2 inputs pending",
     [](StallTest& test) {
         test.make();
         const sp<APipeItemGenerator> generator = new APipeCSCItemGenerator;
         test.last->setItemGenerator(generator);
         test.start();
         generator->mPaused = true;
         test.queueInputs(2, test.last);
     }},
    {"the same output queued twice", kMisuseIsNamed ? ANDROID_LOG_ERROR : 0,
     "[Last] queueItem of a buffer that is in the stage already",
     [](StallTest& test) {
         test.begin();
         const sp<APipeItem> output = outputItem(11);
         test.last->queueItem(output);
         test.run();
         test.last->queueItem(output);
     }},
    {"a generator shared", kMisuseIsNamed ? ANDROID_LOG_ERROR : 0,
     "[Own] setItemGenerator with the generator of another stage",
     [](StallTest& test) {
         test.begin();
         test.own->setItemGenerator(test.first->mItemGenerator);
     }},
    {"an input sent home twice", kMisuseIsNamed ? ANDROID_LOG_ERROR : 0,
     "[Own] notifyInputBufferDone of a buffer that is not in the stage",
     [](StallTest& test) {
         test.begin([](OwnStage* stage) {
             stage->keepItem();
             stage->notifyInputBufferDone(stage->mKept.front()->mInput);
             stage->notifyInputBufferDone(stage->mKept.front()->mInput);
         });
         test.queueInputs(1, test.first);
     }},
};

TEST(StallTableTest, EveryMistakeIsNamed) {
    for (const Mistake& mistake : kMistakes) {
        SCOPED_TRACE(mistake.what);
        StallTest test;
        mistake.make(test);
        test.passTime();
        if (mistake.priority == 0) continue;
        EXPECT_EQ(test.mLog.count(mistake.priority, "APipe", mistake.line), 1U)
            << (test.first != nullptr ? test.first->debugString() : "");
    }
}

TEST_F(StallTest, AStallIsToldOnceAndSoIsItsEnd) {
    begin();
    passTime();
    EXPECT_FALSE(mScheduler.advanceToNext()) << "a timer runs in an empty chain";
    queueInputs(1, first);
    first->setStallTime(0);
    passTime();
    EXPECT_FALSE(logged(ANDROID_LOG_INFO, "APipe", "stalled"));
    first->setStallTime(kStallUs);
    queueInputs(1, first);
    passTime();
    passTime();
    EXPECT_EQ(mLog.count(ANDROID_LOG_INFO, "APipe", "stalled: "), 1U);
    queueOutputs(2);
    EXPECT_EQ(mLog.count(ANDROID_LOG_INFO, "APipe", "[Last] moves again after"), 1U);
    passTime();
    EXPECT_FALSE(mScheduler.advanceToNext());
}

TEST_F(StallTest, AChainTellsWhereEveryBufferIs) {
    begin([](OwnStage*) {});
    queueInputs(4, first);
    const std::string text =
        std::regex_replace(first->debugString(), std::regex("[0-9.]+ s\\b"), "T");
    EXPECT_EQ(text, R"(First  initialised, generation 0; idle for T
    waits for a free pool buffer: 2 of 2 are with Own since T; Own: has 2 items to work on and took no step: did its onWork leave them in mWorkItems?
    generator: 2 inputs (3 to 4 us), 0 outputs; to work on: 0 items; for the next stage: 0 outputs
    pool: 0 of 2 free; #0 frame 1 in Own's work for T; #1 frame 2 in Own's work for T
    taken 6 = sent on 2 + sent home 2 + held 2
Own  initialised, generation 0; idle for T
    has 2 items to work on and took no step: did its onWork leave them in mWorkItems?
    generator: 0 inputs, 0 outputs; to work on: 2 items (1 to 2 us); for the next stage: 0 outputs
    pool: 0 of 2 free; #0 frame 1 in its own work for T; #1 frame 2 in its own work for T
    taken 4 = held 4
Last  initialised, generation 0; idle for T
    nothing to do: waits for an input from Own
    generator: 0 inputs, 0 outputs; to work on: 0 items
    taken 0
)");
    first->flush();
    run();
    EXPECT_EQ(own->getCounts().worked, 2);
    EXPECT_EQ(own->getCounts().forgotten, 4);
    EXPECT_EQ(own->getCountsSinceFlush().taken, 0);
}

// The one that only threads show: the loop that would tell is the one that is stuck.
TEST(StuckStageTest, IsNamedByItsNeighbours) {
    const plexa::LogCapture log;
    Awaited<bool> mayEnd(false);
    const sp<ClientHandler> client = ClientHandler::create();
    const sp<TestStage> last = new TestStage(nullptr, client->notify(), "Last", 0);
    const sp<TestStage> stuck = new TestStage(last, client->notify(), "Stuck", 2);
    stuck->mEngine = [&](const APipeItem&) {
        return mayEnd.waitUntil([](bool may) { return may; }) ? OK : UNKNOWN_ERROR;
    };
    stuck->setStallTime(20'000);
    const sp<AMessage> format = formatOf(2, kFrameWidth, kFrameHeight);
    stuck->init(format, format);
    ASSERT_TRUE(client->waitFor(APipe::kWhatInitCompleted));
    stuck->queueItem(inputItem(1, 1));
    EXPECT_TRUE(eventually([&] {
        return log.contains(ANDROID_LOG_WARN, "APipe",
                            "[Stuck] stalled: its work on frame 1 has been running for");
    }));
    mayEnd.set(true);
    last->queueItem(outputItem(11));
    EXPECT_TRUE(client->waitFor(APipe::kWhatOutputBufferDone));
    stuck->release();
    EXPECT_TRUE(client->waitFor(APipe::kWhatReleaseCompleted));
}

}  // namespace
}  // namespace android
