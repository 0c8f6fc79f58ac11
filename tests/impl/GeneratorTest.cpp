// The item generators: what they say, refuse and give up. How they pair is in
// GeneratorModelTest.cpp.
#include <gtest/gtest.h>

#include <string>

#include "APipeItemGenerator.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using Part = sp<APipeBuffer> APipeItem::*;
constexpr int64_t kNoTime = INT64_MIN;

sp<APipeBuffer> frame(int64_t timeUs = kNoTime) {
    const sp<APipeBuffer> buffer = new APipeBuffer(APipeBuffer::Nv12, 2, 2, nullptr, nullptr,
                                                   APipeBuffer::LocalMemory, -1, -1);
    if (timeUs != kNoTime) buffer->getMeta()->setInt64("timeUs", timeUs);
    return buffer;
}

sp<AMessage> metadata(int64_t timeUs) {
    const sp<AMessage> meta = new AMessage();
    if (timeUs != kNoTime) meta->setInt64("timeUs", timeUs);
    meta->setBuffer("frameMeta", new ABuffer(1));
    return meta;
}

class GeneratorTest : public testing::Test {
protected:
    static void push(APipeItemGenerator& generator, Part part, const sp<APipeBuffer>& buffer) {
        const sp<APipeItem> item = new APipeItem();
        (*item).*part = buffer;
        generator.pushItem(item);
    }

    plexa::LogCapture mLog;
};

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
