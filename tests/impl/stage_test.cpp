// The scale and decompress stages: their set-up, their work, and how both go together.
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <gmock/gmock.h>

#include "support/GraphicFrames.h"
#include "support/ScheduledTest.h"
#include "support/fake_vexcolor/FakeVexcolor.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::graphicFrame;
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
        item->mInput =
            graphicFrame(APipeBuffer::Tp10Ubwc, HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED, 64, 48);
        item->mInput->getMeta()->setInt32("bufferId", inputId);
        item->mInput->getMeta()->setInt64("timeUs", timeUs);
        item->mOutput = graphicFrame(APipeBuffer::P010, HAL_PIXEL_FORMAT_YCBCR_P010, 32, 24);
        item->mOutput->getMeta()->setInt32("bufferId", outputId);
        return item;
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
    struct Case {
        int32_t src, dst, poolFormat, poolMemory;
    };
    for (const Case& c : {Case{2, 2, 2, 2}, {4, 5, 4, 0}, {12, 6, 3, 0}}) {
        const sp<Listener> next = new Listener;
        const sp<Open<APipeScale>> stage = new Open<APipeScale>(next, mClient->notify());
        const sp<AMessage> src = formatOf(c.src, 320, 240);
        stage->init(src, formatOf(c.dst, 160, 120));
        run();
        EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeScale",
                           "srcColorFormat " + std::to_string(c.src) + ", dstColorFormat " +
                               std::to_string(c.dst)));
        expectFormat(next->mSrc, c.src, 160, 120);
        expectFormat(next->mDst, c.dst, 160, 120);
        expectFormat(src, c.src, 320, 240);
        std::vector<sp<APipeBuffer>> pool;
        while (const auto buffer = stage->mBufferPool->acquireBuffer(false))
            pool.push_back(buffer);
        ASSERT_EQ(pool.size(), 4U);
        EXPECT_EQ(pool[0]->getColorFormat(), c.poolFormat);
        EXPECT_EQ(pool[0]->getMemoryType(), c.poolMemory);
        EXPECT_EQ(pool[0]->getWidth(), 160);
    }
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeScale",
                       "onInit change input (width 320, height 240) to output (width 160, "
                       "height 120)"));
    EXPECT_THAT(calls(), testing::Contains("createScaler(1, 320, 240, 160, 120, 5, 5)"));
}

TEST_F(StageTest, DecompressSetsUpItsPoolConverterAndNextStage) {
    struct Case {
        int32_t src, target, poolFormat;
    };
    for (const Case& c : {Case{5, 4, 4}, {6, 12, 3}}) {
        const sp<Listener> next = new Listener;
        const sp<Open<APipeDecompress>> stage = new Open<APipeDecompress>(next, mClient->notify());
        stage->init(formatOf(c.src, 640, 480), formatOf(9, 1, 2));
        run();
        expectFormat(next->mSrc, c.target, 640, 480);
        expectFormat(next->mDst, 9, 1, 2);
        std::vector<sp<APipeBuffer>> pool;
        while (const auto buffer = stage->mBufferPool->acquireBuffer(false))
            pool.push_back(buffer);
        ASSERT_EQ(pool.size(), 2U);
        EXPECT_EQ(pool[0]->getColorFormat(), c.poolFormat);
        EXPECT_EQ(pool[0]->getMemoryType(), APipeBuffer::GraphicMemory);
        EXPECT_EQ(pool[0]->getHeight(), 480);

        next->mUpdated.clear();
        EXPECT_EQ(stage->updateInputFormat(formatOf(c.src, 8, 8)), OK);
        EXPECT_EQ(next->mUpdated, nullptr);
        const sp<AMessage> other = formatOf(2, 8, 8);
        EXPECT_EQ(stage->updateInputFormat(other), OK);
        EXPECT_EQ(next->mUpdated, other);
    }
    EXPECT_THAT(calls(), testing::IsSupersetOf(
                             {"Create(3, 6)", "Create(4, 5)", "setup(640, 480, 640, 480, 3)"}));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeDecompress",
                       "(srcColorFormat 6 -> changedFormat 12), dstColorFormat 9"));
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

TEST_F(StageTest, AFailedFrameIsAnErrorAndStaysFirst) {
    const auto expectFailure = [&](const auto& stage, const char* tag, const char* log) {
        mClient->forget();
        stage->init(formatOf(APipeBuffer::Tp10Ubwc, 64, 48),
                    formatOf(APipeBuffer::Tp10Ubwc, 32, 24));
        run();
        stage->queueItem(frames(1, 11, 100));
        run();
        EXPECT_TRUE(logged(ANDROID_LOG_ERROR, tag, log));
        EXPECT_EQ(mClient->notices().back().err, UNKNOWN_ERROR);
        EXPECT_EQ(mClient->bufferIds(APipe::kWhatInputBufferDone), std::vector<int32_t>());
        EXPECT_EQ(stage->mWorkItems.size(), 1U);
        EXPECT_EQ(stage->queueItem(frames(2, 12, 200)), UNKNOWN_ERROR);
    };
    refuse("scale");
    refuse("convert");
    const sp<Open<APipeScale>> scale = new Open<APipeScale>(nullptr, mClient->notify());
    expectFailure(scale, "APipeScale", "Failed to scale");
    const sp<Open<APipeDecompress>> decompress =
        new Open<APipeDecompress>(nullptr, mClient->notify());
    expectFailure(decompress, "APipeDecompress", "onWork convert failed");
}

TEST_F(StageTest, ANewInputFormatIsHandedOn) {
    const sp<Listener> next = new Listener;
    const sp<APipe> scale = new APipeScale(next, mClient->notify());
    const sp<AMessage> format = formatOf(2, 8, 8);
    EXPECT_EQ(scale->updateInputFormat(format), OK);
    EXPECT_EQ(next->mUpdated, format);
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "APipeScale", "updateInputFormat"));

    const sp<APipe> decompress = new APipeDecompress(nullptr, mClient->notify());
    EXPECT_EQ(decompress->updateInputFormat(format), OK);
    EXPECT_EQ(decompress->updateInputFormat(new AMessage), BAD_VALUE);
    EXPECT_EQ(decompress->updateInputFormat(nullptr), BAD_VALUE);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeDecompress", "colorformat couldn't be found"),
              2U);
}

}  // namespace
}  // namespace android
