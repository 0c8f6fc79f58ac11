// The engines: which calls reach the compute library, and what is refused before it.
#include <APipeCLConverter.h>
#include <AScalerCL.h>
#include <gmock/gmock.h>

#include <cstring>
#include <functional>

#include <kit/Frames.h>
#include "support/LogCapture.h"
#include "support/TestStage.h"
#include "support/VexcolorPath.h"
#include "support/fake_vexcolor/FakeVexcolor.h"

namespace android {
namespace {

using plexa::formatOf;
using plexa::LogCapture;
using plexa::newFrame;
using plexa::fake_vexcolor::calls;
using plexa::fake_vexcolor::refuse;
using testing::ElementsAre;
using testing::IsEmpty;

sp<AMessage> formats(const sp<AMessage>& src, const sp<AMessage>& dst) {
    const sp<AMessage> msg = new AMessage;
    if (src != nullptr) msg->setMessage("src", src);
    if (dst != nullptr) msg->setMessage("dst", dst);
    return msg;
}

sp<AMessage> without(const char* key, const sp<AMessage>& format) {
    const sp<AMessage> rest = new AMessage;
    for (const char* each : {"colorformat", "width", "height"}) {
        int32_t value = 0;
        if (strcmp(each, key) != 0 && format->findInt32(each, &value)) rest->setInt32(each, value);
    }
    return rest;
}

class EngineTest : public testing::Test {
protected:
    EngineTest() { plexa::fake_vexcolor::forget(); }
    ~EngineTest() override { plexa::gVexcolorPath = "libvexcolor.so"; }

    // The engine must refuse a message with any of its parts missing, before the library is asked.
    void expectRefusals(const char* tag, const std::function<status_t(const sp<AMessage>&)>& init,
                        bool needsDstSize) {
        const sp<AMessage> src = formatOf(APipeBuffer::Nv12Venus, 64, 48), dst = src->dup();
        struct Case {
            sp<AMessage> msg;
            status_t status;
            const char* log;
        };
        std::vector<Case> cases = {
            {nullptr, BAD_VALUE, "init src or dst not exist"},
            {formats(nullptr, dst), BAD_VALUE, "init src or dst not exist"},
            {formats(src, nullptr), BAD_VALUE, "init src or dst not exist"},
            {formats(without("colorformat", src), dst), UNKNOWN_ERROR,
             "init colorformat couldn't be found"},
            {formats(src, without("colorformat", dst)), UNKNOWN_ERROR,
             "init colorformat couldn't be found"},
            {formats(without("width", src), dst), BAD_VALUE, "\"width\" of \"src\""},
            {formats(formatOf(4, 64, 0), dst), BAD_VALUE, "\"height\" of \"src\" is 0"},
        };
        if (needsDstSize) {
            cases.push_back(
                {formats(src, without("height", dst)), BAD_VALUE, "\"height\" of \"dst\""});
            cases.push_back(
                {formats(src, formatOf(4, -5, 48)), BAD_VALUE, "\"width\" of \"dst\" is -5"});
        }
        for (const Case& c : cases) {
            const LogCapture log;
            EXPECT_EQ(init(c.msg), c.status) << c.log;
            EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, tag, c.log)) << c.log;
        }
        EXPECT_THAT(calls(), IsEmpty());
    }

    const sp<APipeBuffer> mFrame =
        newFrame({APipeBuffer::Nv12Venus, APipeBuffer::GraphicMemory, 64, 48});
    const sp<APipeBuffer> mOther =
        newFrame({APipeBuffer::Nv12Venus, APipeBuffer::GraphicMemory, 64, 48});
};

TEST_F(EngineTest, FactoriesMakeWhatTheyKnow) {
    LogCapture log;
    EXPECT_EQ(AScaler::Create(AScaler::kTypeNone), nullptr);
    EXPECT_EQ(APipeConverter::Create(APipeConverter::kTypeNone), nullptr);
    EXPECT_NE(AScaler::Create(AScaler::kTypeCL), nullptr);
    EXPECT_NE(APipeConverter::Create(APipeConverter::kTypeCL), nullptr);
    EXPECT_NE(APipeConverter::Create(APipeConverter::kTypeGL), nullptr);
    EXPECT_NE(APipeConverter::Create(APipeConverter::kTypeRE), nullptr);
    EXPECT_EQ(log.countFrom(ANDROID_LOG_VERBOSE), 0U);
    for (const int32_t type : {4, -1}) {
        const std::string line = "not defined type " + std::to_string(type);
        EXPECT_EQ(AScaler::Create(static_cast<AScaler::ScalerType>(type)), nullptr);
        EXPECT_EQ(APipeConverter::Create(static_cast<APipeConverter::ConverterType>(type)),
                  nullptr);
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "AScaler", line));
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "APipeConverter", line));
    }
}

TEST_F(EngineTest, TheScalerRefusesIncompleteFormats) {
    AScalerCL scaler;
    expectRefusals(
        "AScalerCL", [&](const auto& msg) { return scaler.init(msg); }, true);
}

TEST_F(EngineTest, TheConverterRefusesIncompleteFormats) {
    APipeCLConverter converter;
    expectRefusals(
        "APipeCLConverter", [&](const auto& msg) { return converter.init(msg); }, false);
}

TEST_F(EngineTest, TheScalerHandsFramesToTheLibrary) {
    const LogCapture log;
    {
        AScalerCL scaler;
        EXPECT_EQ(scaler.init(formats(formatOf(2, 640, 480), formatOf(3, 320, 240))), OK);
        EXPECT_TRUE(log.contains(ANDROID_LOG_WARN, "AScalerCL",
                                 "init dstColorFormat 3 differs from srcColorFormat 2"));
        EXPECT_EQ(scaler.scale(mFrame, mOther), OK);
        refuse("scale");
        EXPECT_EQ(scaler.scale(mFrame, mOther), UNKNOWN_ERROR);
        EXPECT_EQ(scaler.init(formats(formatOf(9, 8, 8), formatOf(9, 4, 4))), OK);
        scaler.deinit();
        scaler.deinit();
        EXPECT_EQ(scaler.init(formats(formatOf(3, 8, 8), formatOf(3, 4, 4))), OK);
    }
    EXPECT_THAT(calls(), ElementsAre("createScaler(1, 640, 480, 320, 240, 8, 8)", "scale()",
                                     "scale()", "destroyScaler()",
                                     "createScaler(1, 8, 8, 4, 4, -1, -1)", "destroyScaler()",
                                     "createScaler(1, 8, 8, 4, 4, 9, 9)", "destroyScaler()"));
    EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), 0U);
}

TEST_F(EngineTest, TheScalerNeedsTheWholeLibrary) {
    const sp<AMessage> msg = formats(formatOf(2, 8, 8), formatOf(2, 4, 4));
    for (const char* path : {"/nowhere/libvexcolor.so", FAKE_VEXCOLOR_WITHOUT_SCALE, "libm.so.6"}) {
        LogCapture log;
        AScalerCL scaler;
        plexa::gVexcolorPath = path;
        EXPECT_EQ(scaler.init(msg), UNKNOWN_ERROR) << path;
        const bool missing = path[1] == 'n';
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "AScalerCL", "dlopen libvexcolor failed"), missing);
        EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), missing);
        scaler.deinit();
        plexa::gVexcolorPath = "libvexcolor.so";
        refuse("createScaler");
        EXPECT_EQ(scaler.init(msg), UNKNOWN_ERROR);
        plexa::fake_vexcolor::forget();
        EXPECT_EQ(scaler.init(msg), OK);
    }
}

TEST_F(EngineTest, TheConverterHandsFramesToTheLibrary) {
    LogCapture log;
    {
        APipeCLConverter converter;
        EXPECT_EQ(converter.init(formats(formatOf(5, 64, 48), formatOf(4, 1, 1))), OK);
        EXPECT_EQ(converter.convert(mFrame, mOther), OK);
        refuse("convert");
        EXPECT_EQ(converter.convert(mFrame, mOther), UNKNOWN_ERROR);
        EXPECT_EQ(converter.init(formats(formatOf(6, 64, 48), formatOf(12, 64, 48))), OK);
        converter.reset();
        converter.clear();
        refuse("setup");
        EXPECT_EQ(converter.init(formats(formatOf(5, 8, 8), formatOf(4, 8, 8))), UNKNOWN_ERROR);
        refuse("Create");
        EXPECT_EQ(converter.init(formats(formatOf(5, 8, 8), formatOf(4, 8, 8))), UNKNOWN_ERROR);
    }
    EXPECT_THAT(calls(),
                ElementsAre("Create(3, 6)", "setup(64, 48, 64, 48, 3)", "convert()", "convert()",
                            "release()", "delete()", "Create(4, 5)", "setup(64, 48, 64, 48, 3)",
                            "release()", "delete()", "Create(3, 6)", "setup(8, 8, 8, 8, 3)",
                            "release()", "delete()", "Create(3, 6)"));
    EXPECT_EQ(log.countFrom(ANDROID_LOG_WARN), 0U);
    EXPECT_TRUE(
        log.contains(ANDROID_LOG_INFO, "APipeCLConverter", "srcColorFormat 6, dstColorFormat 12"));
}

TEST_F(EngineTest, TheConverterKnowsItsDestinations) {
    for (int32_t format = -1; format < 14; ++format) {
        const LogCapture log;
        APipeCLConverter converter;
        const bool known = format == 4 || format == 5 || format == 6 || format == 12;
        EXPECT_EQ(converter.init(formats(formatOf(5, 8, 8), formatOf(format, 8, 8))),
                  known ? OK : UNKNOWN_ERROR);
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "APipeCLConverter",
                            "init dstColorFormat " + std::to_string(format) + " is not supported"),
                  known ? 0U : 1U);
    }
}

TEST_F(EngineTest, AHintReachesTheLibraryWhenItChanges) {
    LogCapture log;
    const auto hint = [](int32_t value) { return static_cast<APipeConverter::PerfHint>(value); };
    const sp<AMessage> msg = formats(formatOf(5, 8, 8), formatOf(4, 8, 8));
    APipeCLConverter converter;
    converter.setPerfHint(hint(2));
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "APipeCLConverter", "setPerfHint CLConvert is nullptr"),
              1U);
    ASSERT_EQ(converter.init(msg), OK);
    plexa::fake_vexcolor::forget();
    for (const int32_t value : {1, 2, 2, 7, 7, -1, 0})
        converter.setPerfHint(hint(value));
    EXPECT_THAT(calls(), ElementsAre("setPerfHint(2)", "setPerfHint(1)", "setPerfHint(1)",
                                     "setPerfHint(0)"));
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, "APipeCLConverter",
                        "setPerfHint set wrong hint, use normal perf"),
              2U);
    ASSERT_EQ(converter.init(msg), OK);
    plexa::fake_vexcolor::forget();
    converter.setPerfHint(hint(0));
    EXPECT_THAT(calls(), IsEmpty()) << "the hint outlives the library's object";
}

TEST_F(EngineTest, OnlyGraphicsMemoryReachesTheLibrary) {
    AScalerCL scaler;
    APipeCLConverter converter;
    for (const bool ready : {false, true}) {
        const LogCapture log;
        const sp<APipeBuffer> local = newFrame();
        const sp<APipeBuffer> pairs[][2] = {
            {local, mFrame}, {mFrame, local}, {nullptr, mFrame}, {mFrame, nullptr}};
        for (const auto& [input, output] : pairs) {
            EXPECT_EQ(scaler.scale(input, output), UNKNOWN_ERROR);
            EXPECT_EQ(converter.convert(input, output), UNKNOWN_ERROR);
        }
        EXPECT_EQ(scaler.scale(mFrame, mOther), ready ? OK : UNKNOWN_ERROR);
        EXPECT_EQ(converter.convert(mFrame, mOther), ready ? OK : UNKNOWN_ERROR);
        EXPECT_EQ(log.countFrom(ANDROID_LOG_ERROR), ready ? 8U : 10U);
        ASSERT_EQ(scaler.init(formats(formatOf(2, 8, 8), formatOf(2, 8, 8))), OK);
        ASSERT_EQ(converter.init(formats(formatOf(5, 8, 8), formatOf(4, 8, 8))), OK);
    }
}

}  // namespace
}  // namespace android
