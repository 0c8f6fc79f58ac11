// The scale and decompress stages: their set-up, their work, and how both go together.
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <gmock/gmock.h>

#include <kit/Frames.h>
#include "support/ScheduledTest.h"
#include "support/fake_vexcolor/FakeVexcolor.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::newFrame;
using plexa::TestStage;
using plexa::fake_vexcolor::calls;
using plexa::fake_vexcolor::refuse;
using testing::ElementsAre;
using testing::IsEmpty;

// A stage after another, which keeps the formats that it hears of.
struct Listener : APipe {
    Listener() : APipe(nullptr, nullptr, "Listener") {}
    status_t updateInputFormat(const sp<AMessage>& format) override {
        mUpdated = format;
        return OK;
    }
    void onInit(const sp<AMessage>& msg) override {
        msg->findMessage("src", &mSrc);
        msg->findMessage("dst", &mDst);
        APipe::onInit(msg);
    }
    sp<AMessage> mUpdated, mSrc, mDst;
};

template <typename Stage>
struct Open : Stage {
    using Stage::mBufferPool;
    using Stage::mState;
    using Stage::mWorkItems;
    using Stage::Stage;
};

void expectFormat(const sp<AMessage>& format, int32_t colorFormat, int32_t width, int32_t height) {
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->debugString(), formatOf(colorFormat, width, height)->debugString());
}

class StageTest : public plexa::ScheduledTest {
protected:
    StageTest() { plexa::fake_vexcolor::forget(); }

    sp<APipeItem> frames(int32_t inputId, int32_t outputId, int64_t timeUs) {
        const sp<APipeItem> item = new APipeItem;
        item->mInput = newFrame({APipeBuffer::Tp10Ubwc, APipeBuffer::GraphicMemory, 64, 48});
        item->mInput->getMeta()->setInt32("bufferId", inputId);
        item->mInput->getMeta()->setInt64("timeUs", timeUs);
        item->mOutput = newFrame({APipeBuffer::P010, APipeBuffer::GraphicMemory, 32, 24});
        item->mOutput->getMeta()->setInt32("bufferId", outputId);
        return item;
    }

    struct Formats {
        int32_t src, dst, next, nextWidth, nextHeight;
    };
    struct Pool {
        size_t size;
        int32_t colorFormat, memory;
    };
    // Starts a stage: what the next stage hears, and the pool, whose frames are as large.
    template <typename Stage>
    void expectSetUp(const Formats& formats, const Pool& expected) {
        SCOPED_TRACE(formats.src);
        const sp<Listener> next = new Listener;
        const sp<Open<Stage>> stage = new Open<Stage>(next, mClient->notify());
        const sp<AMessage> src = formatOf(formats.src, 320, 240);
        stage->init(src, formatOf(formats.dst, 160, 120));
        run();
        expectFormat(next->mSrc, formats.next, formats.nextWidth, formats.nextHeight);
        expectFormat(next->mDst, formats.dst, 160, 120);
        expectFormat(src, formats.src, 320, 240);
        std::vector<sp<APipeBuffer>> pool;
        while (const auto buffer = stage->mBufferPool->acquireBuffer(false))
            pool.push_back(buffer);
        ASSERT_EQ(pool.size(), expected.size);
        EXPECT_EQ(pool[0]->getColorFormat(), expected.colorFormat);
        EXPECT_EQ(pool[0]->getMemoryType(), expected.memory);
        EXPECT_EQ(pool[0]->getWidth(), formats.nextWidth);
        EXPECT_EQ(pool[0]->getHeight(), formats.nextHeight);
    }

    // What each stage says of a format message that lacks something.
    template <typename Stage>
    void expectRefusals(const char* tag, bool needsDstSize) {
        const sp<AMessage> good = formatOf(APipeBuffer::Tp10Ubwc, 64, 48);
        const sp<AMessage> colourless = new AMessage, sizeless = new AMessage;
        sizeless->setInt32("colorformat", APipeBuffer::Tp10Ubwc);
        struct Case {
            sp<AMessage> src, dst;
            const char* log;
        };
        std::vector<Case> cases = {
            {nullptr, good, "src or dst not exist"},
            {good, nullptr, "src or dst not exist"},
            {colourless, good, "color format couldn't be found"},
            {good, colourless, "color format couldn't be found"},
            {sizeless, good, "\"width\" of \"src\""},
        };
        if (needsDstSize) cases.push_back({good, formatOf(6, 64, -1), "\"height\" of \"dst\""});
        for (const Case& c : cases) {
            mClient->forget();
            const sp<Open<Stage>> stage = new Open<Stage>(new Listener, mClient->notify());
            EXPECT_EQ(stage->init(c.src, c.dst), OK);
            run();
            EXPECT_EQ(mClient->count(APipe::kWhatError), 1U) << c.log;
            EXPECT_TRUE(logged(ANDROID_LOG_ERROR, tag, c.log) ||
                        logged(ANDROID_LOG_ERROR, "APipeCLConverter", c.log))
                << c.log;
            EXPECT_EQ(stage->mBufferPool, nullptr);
        }
        EXPECT_THAT(calls(), IsEmpty());
    }
};

TEST_F(StageTest, ScaleSetsUpItsPoolScalerAndNextStage) {
    // The source 320 by 240, the destination 160 by 120.
    expectSetUp<APipeScale>({2, 2, 2, 160, 120}, {4, 2, APipeBuffer::LocalMemory});
    expectSetUp<APipeScale>({4, 5, 4, 160, 120}, {4, 4, APipeBuffer::GraphicMemory});
    expectSetUp<APipeScale>({12, 6, 12, 160, 120}, {4, 3, APipeBuffer::GraphicMemory});
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeScale", "srcColorFormat 4, dstColorFormat 5"));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeScale",
                       "onInit change input (width 320, height 240) to output (width 160, "
                       "height 120)"));
    EXPECT_THAT(calls(), testing::Contains("createScaler(1, 320, 240, 160, 120, 5, 5)"));
}

TEST_F(StageTest, DecompressSetsUpItsPoolConverterAndNextStage) {
    expectSetUp<APipeDecompress>({5, 9, 4, 320, 240}, {2, 4, APipeBuffer::GraphicMemory});
    expectSetUp<APipeDecompress>({6, 9, 12, 320, 240}, {2, 3, APipeBuffer::GraphicMemory});
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeDecompress",
                       "(srcColorFormat 6 -> changedFormat 12), dstColorFormat 9"));
    EXPECT_THAT(calls(), testing::IsSupersetOf(
                             {"Create(3, 6)", "Create(4, 5)", "setup(320, 240, 320, 240, 3)"}));
}

TEST_F(StageTest, IncompleteFormatsAreAnError) {
    expectRefusals<APipeScale>("APipeScale", true);
    expectRefusals<APipeDecompress>("APipeDecompress", false);
}

TEST_F(StageTest, EachFailedStepOfSetUpIsAnError) {
    const auto expectError = [&](const sp<APipe>& stage, int32_t src, int32_t dst) {
        mClient->forget();
        stage->init(formatOf(src, 64, 48), formatOf(dst, 32, 24));
        run();
        EXPECT_EQ(mClient->count(APipe::kWhatError), 1U);
        EXPECT_EQ(mClient->notices().at(0).err, UNKNOWN_ERROR);
        EXPECT_EQ(mClient->count(APipe::kWhatInitCompleted), 0U);
    };
    const sp<APipe> next = new Listener;
    expectError(new APipeScale(next, mClient->notify()), 2, 7);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipeScale", "onInit setBufferInfo failed"));
    expectError(new APipeDecompress(next, mClient->notify()), 2, 2);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipeCLConverter", "init dstColorFormat 0"));
    refuse("createScaler");
    refuse("setup");
    expectError(new APipeScale(nullptr, mClient->notify()), 2, 2);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "APipeScale", "onInit scaler->init failed"));
    expectError(new APipeDecompress(nullptr, mClient->notify()), 5, 2);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeDecompress", ""), 0U);
    EXPECT_EQ(next->looper(), nullptr);
}

TEST_F(StageTest, FramesGoThroughBothStages) {
    const sp<APipe> scale = new APipeScale(nullptr, mClient->notify());
    const sp<APipe> decompress = new APipeDecompress(scale, mClient->notify());
    decompress->setItemGenerator(new APipeItemGenerator("D"));
    scale->setItemGenerator(new APipeItemGenerator("S"));
    decompress->init(formatOf(APipeBuffer::Tp10Ubwc, 64, 48), formatOf(APipeBuffer::P010, 32, 24));
    run();
    for (int32_t i = 0; i < 3; ++i) {
        const sp<APipeItem> both = frames(i, 10 + i, 100 * i), output = new APipeItem;
        output->mOutput = std::exchange(both->mOutput, nullptr);
        if (i == 2) both->mInput->getMeta()->setInt32("eos", 1);
        EXPECT_EQ(decompress->queueItem(both), OK);
        EXPECT_EQ(scale->queueItem(output), OK);
    }
    run();
    EXPECT_EQ(mClient->bufferIds(APipe::kWhatInputBufferDone), (std::vector{0, 1, 2}));
    EXPECT_EQ(mClient->bufferIds(APipe::kWhatOutputBufferDone), (std::vector{10, 11, 12}));
    EXPECT_EQ(mClient->notices().back().timeUs, 200);
    decompress->release();
    run();
    EXPECT_EQ(mClient->count(APipe::kWhatReleaseCompleted), 1U);
    const std::vector<std::string> all = calls();
    const std::vector<std::string> setUp(all.begin(), all.begin() + 3);
    EXPECT_THAT(setUp, ElementsAre("Create(4, 5)", "setup(64, 48, 64, 48, 3)",
                                   "createScaler(1, 64, 48, 32, 24, 5, 5)"));
    EXPECT_EQ(std::count(all.begin(), all.end(), "convert()"), 2);
    EXPECT_EQ(std::count(all.begin(), all.end(), "scale()"), 2);
    EXPECT_EQ(all.back(), "destroyScaler()") << "a released scale stage has let its scaler go";
}

TEST_F(StageTest, AFailedFrameIsAnErrorAndIsTriedAgainFirst) {
    const auto expectFailure = [&](const auto& stage, const char* tag, const char* log) {
        refuse("scale");
        refuse("convert");
        mClient->forget();
        stage->init(formatOf(APipeBuffer::Tp10Ubwc, 64, 48),
                    formatOf(APipeBuffer::Tp10Ubwc, 32, 24));
        run();
        stage->queueItem(frames(1, 11, 100));
        stage->queueItem(frames(2, 12, 200));
        mScheduler.runOne();
        EXPECT_TRUE(logged(ANDROID_LOG_ERROR, tag, log));
        EXPECT_EQ(stage->queueItem(frames(3, 13, 300)), UNKNOWN_ERROR);
        plexa::fake_vexcolor::forget();
        run();
        EXPECT_EQ(mClient->notices().at(1).err, UNKNOWN_ERROR);
        EXPECT_EQ(mClient->bufferIds(APipe::kWhatOutputBufferDone), std::vector{11});
        EXPECT_EQ(stage->mWorkItems.size(), 1U);
    };
    expectFailure(sp<Open<APipeScale>>(new Open<APipeScale>(nullptr, mClient->notify())),
                  "APipeScale", "Failed to scale");
    expectFailure(sp<Open<APipeDecompress>>(new Open<APipeDecompress>(nullptr, mClient->notify())),
                  "APipeDecompress", "onWork convert failed");
}

TEST_F(StageTest, ANewInputFormatIsHandedOn) {
    const sp<Listener> next = new Listener;
    const sp<APipe> decompress = new APipeDecompress(next, mClient->notify());
    const sp<APipe> scale = new APipeScale(decompress, mClient->notify());
    decompress->init(formatOf(APipeBuffer::Nv12Ubwc, 8, 8), formatOf(2, 8, 8));
    run();
    const sp<AMessage> same = formatOf(APipeBuffer::Nv12Ubwc, 8, 8), other = formatOf(2, 8, 8);
    EXPECT_EQ(scale->updateInputFormat(same), OK);
    EXPECT_EQ(next->mUpdated, nullptr);
    EXPECT_EQ(scale->updateInputFormat(other), OK);
    EXPECT_EQ(next->mUpdated, other);
    for (const char* tag : {"APipeScale", "APipeDecompress"}) {
        EXPECT_EQ(mLog.count(ANDROID_LOG_INFO, tag, "updateInputFormat"), 2U);
    }
    EXPECT_EQ(decompress->updateInputFormat(new AMessage), BAD_VALUE);
    EXPECT_EQ(decompress->updateInputFormat(nullptr), BAD_VALUE);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeDecompress", "colorformat couldn't be found"),
              2U);
}

}  // namespace
}  // namespace android
