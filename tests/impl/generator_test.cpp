// The item generators: what they say, refuse and give up. How they pair is in
// generator_model_test.cpp.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "APipeItemGenerator.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using Part = sp<APipeBuffer> APipeItem::*;
constexpr int64_t kNoTime = INT64_MIN;

sp<APipeBuffer> frame(int64_t timeUs = kNoTime, const char* mark = nullptr) {
    const sp<APipeBuffer> buffer = new APipeBuffer(APipeBuffer::Nv12, 2, 2, nullptr, nullptr,
                                                   APipeBuffer::LocalMemory, -1, -1);
    if (timeUs != kNoTime) buffer->getMeta()->setInt64("timeUs", timeUs);
    if (mark != nullptr) buffer->getMeta()->setInt32(mark, 1);
    return buffer;
}

sp<AMessage> metadata(int64_t timeUs) {
    const sp<AMessage> meta = new AMessage();
    if (timeUs != kNoTime) meta->setInt64("timeUs", timeUs);
    meta->setBuffer("frameMeta", new ABuffer(1));
    return meta;
}

int32_t int32Of(const sp<APipeBuffer>& buffer, const char* key) {
    int32_t value = -1;
    buffer->getMeta()->findInt32(key, &value);
    return value;
}

class GeneratorTest : public testing::Test {
protected:
    static sp<APipeBuffer> push(APipeItemGenerator& generator, Part part,
                                const sp<APipeBuffer>& buffer) {
        const sp<APipeItem> item = new APipeItem();
        (*item).*part = buffer;
        generator.pushItem(item);
        return buffer;
    }

    plexa::LogCapture mLog;
};

TEST_F(GeneratorTest, TagsPendingInputsByTheFirstRangeThatFits) {
    struct Case {
        int64_t timeUs;
        int32_t operation;  // -1: not tagged
    };
    const Case cases[] = {{-1, -1}, {kNoTime, -1}, {0, 4}, {100, 1}, {200, 1}, {201, 2}, {301, -1}};
    const sp<APipeItemGenerator> generator = new APipeItemGenerator("tagger");
    std::vector<sp<APipeBuffer>> inputs;
    for (const Case& c : cases) {
        inputs.push_back(push(*generator, &APipeItem::mInput, frame(c.timeUs)));
    }
    generator->setRangeInfos({});
    generator->setRangeInfos({{9, 5, 3}, {100, 200, 1}, {150, 300, 2}, {-10, 10, 4}});
    for (size_t i = 0; i < inputs.size(); ++i) {
        EXPECT_EQ(int32Of(inputs[i], "operation"), cases[i].operation) << cases[i].timeUs;
    }
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, "APipeItemGenerator",
                              "setRangeInfos - operation is found(2), timeUs(201)"));
    EXPECT_EQ(mLog.lines().size(), 4U);
}

TEST_F(GeneratorTest, RefusesWhatIsNoItemOrBuffer) {
    const sp<APipeItemGenerator> base = new APipeItemGenerator("base");
    const sp<APipeItemGenerator> csc = new APipeCSCItemGenerator();
    const sp<APipeItemGenerator> filter = new APipeFilterItemGenerator();
    const sp<APipeItemGenerator> portrait = new APipePortraitItemGenerator();
    for (const auto& generator : {base, csc, filter, portrait}) {
        generator->mPaused = true;
        generator->pushItem(nullptr);
        generator->pushOutputBuffer(nullptr);
        generator->pushItemMeta(nullptr);  // which only the portrait generator takes
    }
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 9U);

    // Both an input and an output: the whole item comes back, but for the portrait generator,
    // which takes the input.
    for (const auto& generator : {base, csc, filter, portrait}) {
        const sp<APipeItem> item = new APipeItem();
        item->mInput = frame(1);
        const auto output = item->mOutput = frame();
        generator->pushItem(item);
        const auto dropped = generator->takeDroppedItems();
        ASSERT_EQ(dropped.size(), 1U);
        EXPECT_EQ((*dropped.begin())->mOutput, output);
        EXPECT_EQ((*dropped.begin())->mInput != nullptr, generator != portrait);
        EXPECT_TRUE(generator->takeDroppedItems().empty());
    }
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 12U);
}

// A player pauses, and seeks: the frame of the seek goes through both stages, and nothing else.
TEST_F(GeneratorTest, APausedSeekGoesThroughColourConversionAndFilter) {
    const sp<APipeCSCItemGenerator> csc = new APipeCSCItemGenerator();
    const sp<APipeFilterItemGenerator> filter = new APipeFilterItemGenerator();
    csc->mPaused = true;
    filter->mPaused = true;

    csc->pushOutputBuffer(frame());
    const auto input = push(*csc, &APipeItem::mInput, frame(10));
    EXPECT_FALSE(csc->isNeededSkip());  // paired at once, nothing pending
    const auto converted = csc->getCompletedItem();
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(converted->mInput, input);
    EXPECT_EQ(int32Of(converted->mOutput, "buffer-for-seek"), 1);

    push(*filter, &APipeItem::mOutput, frame());
    push(*filter, &APipeItem::mInput, converted->mOutput);
    const auto filtered = filter->getCompletedItem();
    ASSERT_NE(filtered, nullptr);
    EXPECT_EQ(filtered->mInput, converted->mOutput);

    // What was on its way before the pause waits.
    push(*csc, &APipeItem::mInput, frame(20));
    EXPECT_TRUE(csc->isNeededSkip());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, "APipeItemGenerator",
                              "isNeededSkip - don't work in paused"));
    csc->mPaused = false;
    EXPECT_FALSE(csc->isNeededSkip());
}

// Each step is a kind (input, sub input, metadata) and its time, - for none; an output is there.
TEST_F(GeneratorTest, APortraitGeneratorSaysWhatItGivesUp) {
    struct Case {
        std::string steps;
        int priority;
        std::string text;
        std::string dropped;  // the kind that comes back; metadata does not
    };
    for (const Case& c : {
             Case{"s1 m3 i1", ANDROID_LOG_WARN,
                  "setMetadata : metaTimeUs is after (3) vs timeUs (1)", "i"},
             Case{"s2 m0 m2 i2", ANDROID_LOG_WARN,
                  "setMetadata metaTimeUs is previous time (0) vs timeUs (2)", ""},
             Case{"i6 m6 s7", ANDROID_LOG_WARN,
                  "getExtraInputBuffer : extraInputTimeUs is after (7) vs timeUs (6)", "i"},
             Case{"s5 s6 i6 m6", ANDROID_LOG_WARN,
                  "getExtraInputBuffer extraInputTimeUs is previous time (5) vs timeUs (6)", "s"},
             Case{"s1 i-", ANDROID_LOG_ERROR, "getCompletedItem dropped an input without timeUs",
                  "i"},
             Case{"s- i4 m4", ANDROID_LOG_ERROR,
                  "getExtraInputBuffer dropped a sub input without timeUs", "s"},
             Case{"m-", ANDROID_LOG_ERROR, "pushItemMeta refused metadata without timeUs", ""},
         }) {
        SCOPED_TRACE(c.steps);
        const sp<APipePortraitItemGenerator> generator = new APipePortraitItemGenerator();
        generator->pushOutputBuffer(frame());
        for (size_t i = 0; i < c.steps.size(); i += 3) {
            const char kind = c.steps[i];
            const int64_t timeUs = c.steps[i + 1] == '-' ? kNoTime : c.steps[i + 1] - '0';
            if (kind == 'i') push(*generator, &APipeItem::mInput, frame(timeUs));
            if (kind == 's') push(*generator, &APipeItem::mSubInput, frame(timeUs));
            if (kind == 'm') generator->pushItemMeta(metadata(timeUs));
        }
        generator->getCompletedItem();
        EXPECT_EQ(
            mLog.count(c.priority, "APipeItemGenerator", "[APipePortraitItemGenerator] " + c.text),
            1U);
        std::string dropped;
        for (const auto& item : generator->takeDroppedItems()) {
            dropped += item->mInput != nullptr ? 'i' : 's';
        }
        EXPECT_EQ(dropped, c.dropped);
    }
}

}  // namespace
}  // namespace android
