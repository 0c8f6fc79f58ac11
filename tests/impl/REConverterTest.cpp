// APipeREConverter: what it asks of the frame-capture library, and what it makes of the answers.
#include <APipeBufferFactory.h>
#include <APipeREConverter.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include <kit/Frames.h>
#include "support/LogCapture.h"
#include "support/fake_vexcapture/FakeVexcapture.h"

namespace plexa {
namespace {

using namespace android;
using fake_vexcapture::Capture;

constexpr const char* kTag = "APipeREConverter";

int32_t int32Of(const sp<AMessage>& message, const char* name) {
    int32_t value = std::numeric_limits<int32_t>::min();
    EXPECT_TRUE(message->findInt32(name, &value)) << name;
    return value;
}

Rect rectOf(const sp<AMessage>& message) {
    Rect r;
    EXPECT_TRUE(message->findRect("crop", &r.left, &r.top, &r.right, &r.bottom));
    return r;
}

class REConverterTest : public testing::Test {
protected:
    REConverterTest() {
        fake_vexcapture::state() = {};
        mConverter = APipeConverter::Create(APipeConverter::kTypeRE);
    }
    ~REConverterTest() override {
        fake_vexcapture::state().lastCapture.reset();
        mConverter.reset();
        EXPECT_EQ(fake_vexcapture::state().objects, 0);
    }

    // The capture that a conversion asks for.
    Capture converted() {
        EXPECT_EQ(mConverter->init(nullptr), OK);
        EXPECT_EQ(mConverter->convert(mInput, mOutput), OK);
        return fake_vexcapture::state().lastCapture.value_or(Capture());
    }

    LogCapture mLog;
    std::shared_ptr<APipeConverter> mConverter;
    const sp<APipeBuffer> mInput =
        plexa::kit::newFrame({APipeBuffer::Nv12, APipeBuffer::GraphicMemory, 320, 240});
    const sp<APipeBuffer> mOutput =
        plexa::kit::newFrame({APipeBuffer::Rgba8888, APipeBuffer::GraphicMemory, 64, 48});
};

TEST_F(REConverterTest, InitPassesTheLibrarysStatusAndKeepsItsObject) {
    EXPECT_EQ(mConverter->init(nullptr), OK);
    const auto asked = fake_vexcapture::state().lastInit;
    ASSERT_TRUE(asked);
    EXPECT_EQ(asked->layers, 1);
    EXPECT_EQ(asked->mode, 0);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, "init success"));

    fake_vexcapture::state().initStatus = -19;
    EXPECT_EQ(mConverter->init(nullptr), -19);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "init failed err -19"));
    EXPECT_EQ(fake_vexcapture::state().objects, 1);
    mConverter->reset();
    mConverter->reset();
    EXPECT_EQ(fake_vexcapture::state().objects, 0);
}

TEST_F(REConverterTest, CropBecomesInclusiveAndWithoutOneTheWholeBufferIsTaken) {
    for (const bool hasCrop : {false, true}) {
        if (hasCrop) mInput->getMeta()->setRect("crop", 8, 4, 308, 200);
        const Capture capture = converted();
        EXPECT_EQ(capture.source, mInput->getGraphicBuffer());
        EXPECT_EQ(capture.destination, mOutput->getGraphicBuffer());
        EXPECT_EQ(capture.format, 1);
        EXPECT_EQ(capture.width, 64);
        EXPECT_EQ(capture.height, 48);
        EXPECT_EQ(capture.crop, hasCrop ? Rect(8, 4, 307, 199) : Rect(0, 0, 319, 239));
        EXPECT_EQ(rectOf(capture.parameters), capture.crop);
        EXPECT_EQ(int32Of(capture.parameters, "width"), hasCrop ? 300 : 320);
        EXPECT_EQ(int32Of(capture.parameters, "height"), hasCrop ? 196 : 240);
        EXPECT_EQ(mLog.count(ANDROID_LOG_WARN, kTag,
                             "There's no crop information, fill GraphicBuffer width, height"),
                  1U);
    }

    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    mInput->getMeta()->setRect("crop", 1, 1, kLeast, kLeast);
    EXPECT_EQ(mConverter->convert(mInput, mOutput), OK) << "the library judges it";
}

TEST_F(REConverterTest, OnlyTheMetadataThatIsThereIsPassed) {
    const sp<ABuffer> stream = sp<ABuffer>::make(25);
    const sp<ABuffer> scene = sp<ABuffer>::make(40);
    for (const bool hasStream : {false, true}) {
        for (const bool hasScene : {false, true}) {
            const sp<AMessage> meta = mInput->getMeta();
            meta->clear();
            if (hasStream) meta->setBuffer("hdr-static-info", stream);
            meta->setBuffer("hdr10-plus-info", hasScene ? scene : nullptr);
            const sp<AMessage> passed = converted().parameters;
            sp<ABuffer> found;
            EXPECT_EQ(passed->findBuffer("hdr-static-info", &found), hasStream);
            EXPECT_EQ(found, hasStream ? stream : nullptr) << "not a copy";
            found.clear();
            EXPECT_EQ(passed->findBuffer("hdr10-plus-info", &found), hasScene);
            EXPECT_EQ(found, hasScene ? scene : nullptr);
            EXPECT_EQ(int32Of(passed, "android._dataspace"), 0);
        }
    }
    mInput->getMeta()->setInt32("dataSpace", HAL_DATASPACE_BT2020_ITU_PQ);
    EXPECT_EQ(int32Of(converted().parameters, "android._dataspace"), HAL_DATASPACE_BT2020_ITU_PQ);
}

TEST_F(REConverterTest, CaptureStatusComesBackUnchanged) {
    ASSERT_EQ(mConverter->init(nullptr), OK);
    for (const status_t status :
         {status_t{-22}, status_t{-1}, status_t{7}, status_t{UNKNOWN_ERROR}}) {
        fake_vexcapture::state().captureStatus = status;
        EXPECT_EQ(mConverter->convert(mInput, mOutput), status);
        EXPECT_TRUE(
            mLog.contains(ANDROID_LOG_ERROR, kTag,
                          "mFrameCaptureLayer->capture failed err " + std::to_string(status)));
    }
}

TEST_F(REConverterTest, CallsThatCannotReachTheLibraryAreRefused) {
    EXPECT_EQ(mConverter->convert(mInput, mOutput), UNKNOWN_ERROR) << "before init";
    ASSERT_EQ(mConverter->init(nullptr), OK);
    const sp<APipeBuffer> heap = APipeBufferFactory::Create(
        APipeBuffer::Nv12, 320, 240, nullptr, nullptr, APipeBuffer::LocalMemory, -1, -1);
    EXPECT_EQ(mConverter->convert(nullptr, mOutput), UNKNOWN_ERROR);
    EXPECT_EQ(mConverter->convert(mInput, nullptr), UNKNOWN_ERROR);
    EXPECT_EQ(mConverter->convert(heap, mOutput), UNKNOWN_ERROR);
    EXPECT_EQ(mConverter->convert(mInput, heap), UNKNOWN_ERROR);
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 5U);
    EXPECT_FALSE(fake_vexcapture::state().lastCapture);
}

}  // namespace
}  // namespace plexa
