// The GPU converter's dealings with its caller: life, crops, misuse, failures.
#include <EGL/egl.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "APipeConverter.h"
#include "APipeGLConverter.h"
#include "support/GlFrames.h"
#include "support/GlTest.h"
#include "support/YuvFormula.h"

namespace android {
namespace {

using namespace plexa;
using host::GlesFault;

constexpr char kTag[] = "APipeGLConverter";
constexpr char kHelperTag[] = "OpenGLHelper";
constexpr int kSide = 16;
constexpr Yuv kGrey = {126, 128, 128};
constexpr Yuv kBright = {200, 128, 128};

// The left half grey, the right half bright.
Yuv halves(int x, int /*y*/) {
    return x < kSide / 2 ? kGrey : kBright;
}

bool isColour(const Rgba& rgba, const Yuv& yuv, const YuvFormula& formula = kBt709Limited) {
    return formula.errorOf(rgba, yuv.y / 255.0, yuv.cb / 255.0, yuv.cr / 255.0) <= 1.0;
}

class GlConverter : public GlTest {
protected:
    ~GlConverter() override { mConverter.reset(); }

    status_t init() { return mConverter.init(glFormat(kSide, kSide)); }
    status_t convert(const sp<APipeBuffer>& input) { return mConverter.convert(input, mOutput); }
    void setCrop(int left, int top, int right, int bottom) {
        mInput->getMeta()->setRect("crop", left, top, right, bottom);
    }
    // Whether the output has these colours left and right, more than half a texel from the edges.
    bool shows(const Yuv& left, const Yuv& right) const {
        return isColour(rgbaAt(mOutput, 2, 5), left) &&
               isColour(rgbaAt(mOutput, kSide - 3, 5), right);
    }
    // The road is clear: a fresh frame comes out as it should.
    void expectGoodFrame() { expectGoodFrame(mConverter); }
    void expectGoodFrame(APipeGLConverter& converter) {
        const auto output = rgbaFrame(kSide, kSide);
        ASSERT_EQ(converter.convert(mInput, output), OK);
        EXPECT_TRUE(isColour(rgbaAt(output, 0, 0), kGrey));
        EXPECT_TRUE(isColour(rgbaAt(output, kSide - 1, kSide - 1), kBright));
    }

    APipeGLConverter mConverter;
    const sp<APipeBuffer> mInput = frameOver(yuvBuffer(kSide, kSide, halves));
    const sp<APipeBuffer> mOutput = rgbaFrame(kSide, kSide);
};

TEST_F(GlConverter, ChoosesTheVariantByDataspace) {
    struct {
        int dataspace;
        int sameAs;
        bool isTakenApart;
        int unsupportedStandard;  // -1: none
    } const kCases[] = {
        {HAL_DATASPACE_BT601_525, HAL_DATASPACE_BT601_625, false, -1},
        {HAL_DATASPACE_SRGB_LINEAR, HAL_DATASPACE_SRGB, false, -1},
        {HAL_DATASPACE_V0_BT709, HAL_DATASPACE_BT709, true, -1},
        {HAL_DATASPACE_V0_SRGB, HAL_DATASPACE_SRGB, true, -1},
        {HAL_DATASPACE_BT2020_ITU, HAL_DATASPACE_BT709, true, 6},
        {HAL_DATASPACE_V0_JFIF, HAL_DATASPACE_SRGB, true, 2},
        {HAL_DATASPACE_UNKNOWN, HAL_DATASPACE_BT709, true, 0},
        {-1, HAL_DATASPACE_BT709, true, 63},
    };
    for (const auto& c : kCases) {
        mLog.clear();
        EXPECT_EQ(mConverter.getFragmentSource(c.dataspace),
                  mConverter.getFragmentSource(c.sameAs));
        const std::string notDetermined = "colorSpace(" +
                                          std::to_string(static_cast<unsigned>(c.dataspace)) +
                                          ") is not determined with only dataspace";
        EXPECT_EQ(hasError(kTag, notDetermined), c.isTakenApart) << c.dataspace;
        const std::string unsupported =
            "use default colorspace (BT_709) for unsupported standard "
            "(" +
            std::to_string(c.unsupportedStandard) + ")";
        EXPECT_EQ(mLog.contains(ANDROID_LOG_INFO, kTag, unsupported), c.unsupportedStandard >= 0);
    }
}

TEST_F(GlConverter, TakesAColourSpaceAtTheNextInit) {
    const auto red = frameOver(yuvBuffer(kSide, kSide, [](int, int) { return Yuv{90, 90, 220}; }));
    ASSERT_EQ(init(), OK);
    mConverter.setColorSpace(HAL_DATASPACE_BT601_525);
    ASSERT_EQ(convert(red), OK);
    EXPECT_TRUE(isColour(rgbaAt(mOutput, 3, 3), {90, 90, 220}, kBt709Limited));
    ASSERT_EQ(init(), OK);
    ASSERT_EQ(convert(red), OK);
    EXPECT_TRUE(isColour(rgbaAt(mOutput, 3, 3), {90, 90, 220}, kBt601Limited));
}

TEST_F(GlConverter, FollowsCropsFrameByFrame) {
    ASSERT_EQ(init(), OK);
    ASSERT_EQ(convert(mInput), OK);
    EXPECT_TRUE(shows(kGrey, kBright)) << "no crop";

    setCrop(kSide / 2, 0, kSide, kSide);
    ASSERT_EQ(convert(mInput), OK);
    EXPECT_TRUE(shows(kBright, kBright)) << "right half";

    const auto plain = frameOver(mInput->getGraphicBuffer());
    ASSERT_EQ(convert(plain), OK);
    EXPECT_TRUE(shows(kBright, kBright)) << "a frame without crop leaves it";

    setCrop(0, 2, 4, 9);
    ASSERT_EQ(convert(mInput), OK);
    EXPECT_TRUE(shows(kGrey, kGrey)) << "another crop";

    setCrop(INT32_MIN, 0, INT32_MAX, kSide);
    EXPECT_EQ(convert(mInput), OK) << "any edges";

    setCrop(0, 0, kSide, kSide);
    ASSERT_EQ(convert(mInput), OK);
    EXPECT_TRUE(shows(kGrey, kBright)) << "the whole buffer";
}

TEST_F(GlConverter, AppliesTheSameCropToABufferOfAnotherSize) {
    ASSERT_EQ(init(), OK);
    setCrop(0, 0, kSide, kSide);
    ASSERT_EQ(convert(mInput), OK);
    // Bright beyond the crop.
    const auto wide = frameOver(yuvBuffer(2 * kSide, kSide, [](int x, int y) {
        return x < kSide ? halves(x, y) : Yuv{235, 128, 128};
    }));
    wide->getMeta()->setRect("crop", 0, 0, kSide, kSide);
    ASSERT_EQ(convert(wide), OK);
    EXPECT_TRUE(shows(kGrey, kBright));
}

TEST_F(GlConverter, StartsAfreshAfterResetAndAfterASecondInit) {
    setCrop(kSide / 2, 0, kSide, kSide);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(init(), OK);
        EXPECT_EQ(host::glesCounts().contexts, 1);
        ASSERT_EQ(convert(mInput), OK);
        EXPECT_TRUE(shows(kBright, kBright)) << "the crop counts again, round " << round;
        if (round == 1) mConverter.reset();
    }
    mConverter.reset();
    EXPECT_EQ(convert(mInput), UNKNOWN_ERROR);
    EXPECT_FALSE(mConverter.updateCropIfChanged({0, 0, 0, 0}));
    mConverter.reset();
}

TEST_F(GlConverter, RefusesFormatsThatAreNone) {
    const sp<AMessage> empty = new AMessage();
    const sp<AMessage> noHeight = new AMessage();
    noHeight->setMessage("dst", new AMessage());
    EXPECT_EQ(mConverter.init(nullptr), BAD_VALUE);
    EXPECT_EQ(mConverter.init(empty), BAD_VALUE);
    EXPECT_TRUE(hasError(kTag, "\"dst\""));
    const sp<AMessage> nullDst = new AMessage();
    nullDst->setMessage("dst", nullptr);
    EXPECT_EQ(mConverter.init(nullDst), BAD_VALUE);
    EXPECT_EQ(mConverter.init(noHeight), BAD_VALUE);
    EXPECT_TRUE(hasError(kTag, "\"width\""));
    EXPECT_EQ(mConverter.init(glFormat(0, 4)), BAD_VALUE);
    EXPECT_TRUE(hasError(kTag, "onInit parameters are wrong (w 0, h 4)"));
    EXPECT_EQ(mConverter.init(glFormat(4, -1)), BAD_VALUE);
    EXPECT_EQ(host::glesCounts().contexts, 0);
}

TEST_F(GlConverter, ReportsEachFailureOfInitAndRecovers) {
    struct {
        GlesFault fault;
        const char* step;
        const char* summary;
    } const kCases[] = {
        {GlesFault::Display, "eglGetDisplay failed", "failed to initialize EGL"},
        {GlesFault::Initialize, "eglInitialize failed", "failed to initialize EGL"},
        {GlesFault::BindApi, "eglBindAPI failed", "failed to initialize EGL"},
        {GlesFault::Config, "eglChooseConfig failed", "failed to initialize EGL"},
        {GlesFault::Context, "eglCreateContext failed", "failed to initialize EGL"},
        {GlesFault::Surface, "eglCreatePbufferSurface failed", "failed to initialize EGL"},
        {GlesFault::MakeCurrent, "eglMakeCurrent failed", "failed to initialize EGL"},
        {GlesFault::ShaderSource, "VertexShader compilation failed :", "failed to create program"},
        {GlesFault::Link, "Shaders linking failed :", "failed to create program"},
    };
    for (const auto& c : kCases) {
        mLog.clear();
        host::failGles(c.fault, 1);
        EXPECT_EQ(init(), UNKNOWN_ERROR) << c.step;
        EXPECT_TRUE(hasError(kHelperTag, c.step)) << c.step;
        EXPECT_TRUE(hasError(kTag, c.summary)) << c.step;
        EXPECT_EQ(convert(mInput), UNKNOWN_ERROR);
        EXPECT_TRUE(hasError(kTag, "convert called before a successful init"));
        ASSERT_EQ(init(), OK) << c.step;
        expectGoodFrame();
        mConverter.reset();
    }
}

TEST_F(GlConverter, ReportsEachFailureOfAFrameAndGoesOn) {
    const auto yuvOutput = frameOver(yuvBuffer(kSide, kSide, halves));
    struct {
        const char* what;
        sp<APipeBuffer> input, output;
        status_t status;
        const char* tag;
        const char* text;
        GlesFault fault = GlesFault::kCount;
        int countdown = 1;
    } const kCases[] = {
        {"no input", nullptr, mOutput, UNKNOWN_ERROR, kTag, "with a graphics buffer"},
        {"no output", mInput, nullptr, UNKNOWN_ERROR, kTag, "with a graphics buffer"},
        {"no graphics buffer", frameOver(nullptr), mOutput, UNKNOWN_ERROR, kTag,
         "with a graphics buffer"},
        {"buffer without memory", frameOver(graphicBuffer(0, 0, 1)), mOutput, UNKNOWN_ERROR,
         kHelperTag, "eglCreateImageKHR failed"},
        {"input image", mInput, mOutput, UNKNOWN_ERROR, kHelperTag, "eglCreateImageKHR failed",
         GlesFault::Image, 1},
        {"output image", mInput, mOutput, UNKNOWN_ERROR, kHelperTag, "eglCreateImageKHR failed",
         GlesFault::Image, 2},
        {"YUV output", mInput, yuvOutput, OK, kHelperTag, "glCheckFrameBufferStatus failed"},
        {"no fence", mInput, mOutput, OK, kHelperTag, "failed to create EGL fence sync: 0x3003",
         GlesFault::FenceCreate},
        {"fence runs out", mInput, mOutput, OK, kHelperTag, "fence wait timed out",
         GlesFault::FenceTimeout},
        {"fence fails", mInput, mOutput, OK, kHelperTag, "error waiting on EGL fence: 0x300c",
         GlesFault::FenceError},
    };
    ASSERT_EQ(init(), OK);
    const host::GlesCounts before = host::glesCounts();
    for (const auto& c : kCases) {
        mLog.clear();
        if (c.fault != GlesFault::kCount) host::failGles(c.fault, c.countdown);
        EXPECT_EQ(mConverter.convert(c.input, c.output), c.status) << c.what;
        EXPECT_TRUE(hasError(c.tag, c.text) || hasWarning(c.tag, c.text)) << c.what;
        EXPECT_EQ(host::glesCounts(), before) << c.what;
        expectGoodFrame();
    }
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    host::failGles(GlesFault::FenceCreate, 1);
    EXPECT_EQ(convert(mInput), OK);
    EXPECT_EQ(eglGetError(), EGL_SUCCESS) << "read though it is not logged";
}

TEST_F(GlConverter, LeavesOthersOnItsThreadAlone) {
    APipeGLConverter other;
    for (const int failing : {0, 1}) {
        ASSERT_EQ(init(), OK);
        ASSERT_EQ(other.init(glFormat(kSide, kSide)), OK);
        const EGLContext current = eglGetCurrentContext();
        expectGoodFrame();
        host::failGles(GlesFault::MakeCurrent, 1);
        EXPECT_EQ(convert(mInput), UNKNOWN_ERROR);
        EXPECT_TRUE(hasError(kTag, "eglMakeCurrent failed: 0x3003"));
        host::failGles(GlesFault::MakeCurrent, failing);
        EXPECT_EQ(mConverter.init(nullptr), BAD_VALUE) << "lets its own go";
        EXPECT_EQ(eglGetCurrentContext(), current);
        EXPECT_EQ(host::glesCounts().programs, 1);
        expectGoodFrame(other);
    }
    other.reset();
}

TEST_F(GlConverter, RefusesOtherThreads) {
    ASSERT_EQ(init(), OK);
    std::thread([this] {
        EXPECT_EQ(convert(mInput), INVALID_OPERATION);
        EXPECT_TRUE(hasError(kTag, "convert called on another thread than init"));
        EXPECT_EQ(init(), INVALID_OPERATION);
        EXPECT_TRUE(hasError(kTag, "init called on another thread than init"));
        mConverter.reset();
        EXPECT_TRUE(hasError(kTag, "reset called on another thread than init"));
    }).join();
    expectGoodFrame();

    mConverter.reset();
    std::thread([this] {
        ASSERT_EQ(init(), OK) << "after reset any thread may have it";
        expectGoodFrame();
        mConverter.reset();
    }).join();
}

TEST_F(GlConverter, SaysSoWhenItGoesWithoutReset) {
    auto converter = std::make_unique<APipeGLConverter>();
    ASSERT_EQ(converter->init(glFormat(kSide, kSide)), OK);
    const EGLDisplay display = eglGetCurrentDisplay();
    const EGLContext context = eglGetCurrentContext();
    const EGLSurface surface = eglGetCurrentSurface(EGL_DRAW);
    converter.reset();
    EXPECT_TRUE(hasError(kTag, "destroyed without reset"));
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(display, context);
    eglDestroySurface(display, surface);
    eglTerminate(display);
}

TEST_F(GlConverter, WorksOnSeveralThreadsAtOnce) {
    const auto work = [](int brightness) {
        const Yuv colour = {brightness, 128, 128};
        APipeGLConverter converter;
        for (int life = 0; life < 3; ++life) {
            ASSERT_EQ(converter.init(glFormat(kSide, kSide)), OK);
            for (int i = 0; i < 5; ++i) {
                const auto input =
                    frameOver(yuvBuffer(kSide, kSide, [&](int, int) { return colour; }));
                input->getMeta()->setRect("crop", i, 0, kSide, kSide);
                const auto output = rgbaFrame(kSide, kSide);
                ASSERT_EQ(converter.convert(input, output), OK);
                EXPECT_TRUE(isColour(rgbaAt(output, 7, 7), colour));
            }
            converter.reset();
        }
    };
    std::vector<std::thread> threads;
    for (const int brightness : {40, 90, 140})
        threads.emplace_back(work, brightness);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace android
