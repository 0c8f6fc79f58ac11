// The GPU shader converter.
#define LOG_TAG "APipeGLConverter"

#include "APipeGLConverter.h"

#include <EGL/egl.h>
#include <GLES2/gl2ext.h>
#include <system/graphics.h>
#include <utils/Log.h>

#include <cstdint>
#include <memory>

#include "APipeGraphicPair.h"

namespace android {

namespace {

constexpr char kVertexSource[] =
    "layout (location = 0) in vec2 vertexPos; layout (location = 1) in vec2 texCoord; "
    "out vec2 tCoord; void main() { tCoord = texCoord; "
    "gl_Position = vec4(vertexPos.xy, 0.0f, 1.0f); }";

// What the fragment shaders differ in, as it stands in their text.
struct Matrix {
    const char* redFromCr;
    const char* greenFromCb;
    const char* greenFromCr;
    const char* blueFromCb;
};

struct Range {
    const char* lumaScale;
    const char* chromaScale;
};

constexpr Matrix kBt601 = {"1.402", "0.344136", "0.714136", "1.772"};
constexpr Matrix kBt709 = {"1.5748", "0.187324", "0.468124", "1.8556"};
// 1/219 and 1/224; 1/255.
constexpr Range kLimited = {"0.00456621", "0.00446428"};
constexpr Range kFull = {"0.00392156", "0.00392156"};

std::string fragmentSource(const Matrix& matrix, const Range& range) {
    const std::string luma = range.lumaScale;
    const std::string chroma = range.chromaScale;
    return "#extension GL_OES_EGL_image_external_essl3 : require\n"
           "#extension GL_EXT_YUV_target : require\n"
           "precision highp float; "
           "layout (location = 2) uniform __samplerExternal2DY2YEXT uTexture; "
           "in vec2 tCoord; out vec4 fragColor; vec3 nv12_to_rgba(vec3 yuv) { "
           "yuv.x = (yuv.x * 255.0 - 16.0) * " +
           luma + "; yuv.y = (yuv.y * 255.0 - 128.0) * " + chroma +
           "; yuv.z = (yuv.z * 255.0 - 128.0) * " + chroma + "; vec3 rgb; rgb.r = yuv.x + " +
           matrix.redFromCr + " * yuv.z; rgb.g = yuv.x - " + matrix.greenFromCb + " * yuv.y - " +
           matrix.greenFromCr + " * yuv.z; rgb.b = yuv.x + " + matrix.blueFromCb +
           " * yuv.y; return rgb; } void main(void) { "
           "vec3 yuv = texture(uTexture, tCoord).xyz; "
           "fragColor = vec4(nv12_to_rgba(yuv), 1.0); }";
}

// In 64 bits: a client may set any edges.
bool hasSize(const Rect& crop, int width, int height) {
    return int64_t{crop.right} - crop.left == width && int64_t{crop.bottom} - crop.top == height;
}

}  // namespace

APipeGLConverter::APipeGLConverter() : mFragmentSource(fragmentSource(kBt709, kLimited)) {}

APipeGLConverter::~APipeGLConverter() {
    if (mHelper != nullptr) ALOGE("destroyed without reset: its EGL context is lost");
}

status_t APipeGLConverter::init(const sp<AMessage>& msg) {
    if (!isOnInitThread("init")) return INVALID_OPERATION;
    releaseContext();
    if (!readDstSize(msg)) return BAD_VALUE;
    if (mDstWidth < 1 || mDstHeight < 1) {
        ALOGE("onInit parameters are wrong (w %d, h %d)", mDstWidth, mDstHeight);
        return BAD_VALUE;
    }
    return setUpContext();
}

bool APipeGLConverter::isOnInitThread(const char* operation) const {
    if (mHelper == nullptr || mInitThread == std::this_thread::get_id()) return true;
    ALOGE("%s called on another thread than init", operation);
    return false;
}

bool APipeGLConverter::readDstSize(const sp<AMessage>& msg) {
    sp<AMessage> dst;
    if (msg == nullptr || !msg->findMessage("dst", &dst) || dst == nullptr) {
        ALOGE("init without \"dst\"");
        return false;
    }
    if (!dst->findInt32("width", &mDstWidth)) {
        ALOGE("init without \"width\" in \"dst\"");
        return false;
    }
    if (!dst->findInt32("height", &mDstHeight)) {
        ALOGE("init without \"height\" in \"dst\"");
        return false;
    }
    return true;
}

status_t APipeGLConverter::setUpContext() {
    mHelper = new OpenGLHelper();
    mInitThread = std::this_thread::get_id();
    if (mHelper->initialize() != OK) {
        ALOGE("failed to initialize EGL");
        return UNKNOWN_ERROR;
    }
    mBinding = APipeGLScope::ofThread();
    if (mHelper->createProgram(mProgram, kVertexSource, mFragmentSource) != OK) {
        ALOGE("failed to create program");
        return UNKNOWN_ERROR;
    }
    mVertexArray = mHelper->genVertexArrays();
    mFrameBuffer = mHelper->genFrameBuffer();
    mHelper->setViewPort(0, 0, mDstWidth, mDstHeight);
    ALOGI("init success dst (w %d, h %d)", mDstWidth, mDstHeight);
    return OK;
}

status_t APipeGLConverter::convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) {
    if (!isOnInitThread("convert")) return INVALID_OPERATION;
    if (mProgram == 0) {
        ALOGE("convert called before a successful init");
        return UNKNOWN_ERROR;
    }
    const APipeGraphicPair frames(LOG_TAG, "convert", input, output);
    if (!frames.isComplete()) return UNKNOWN_ERROR;
    const APipeGLScope scope(mBinding);
    if (!scope.isCurrent()) return UNKNOWN_ERROR;
    // The output's texture goes first, both before this call returns.
    const auto inputTexture = mHelper->genTextureFromGraphicBuffer(frames.source(), true);
    if (inputTexture == nullptr) return UNKNOWN_ERROR;
    followCrop(input, static_cast<int>(frames.source()->getWidth()),
               static_cast<int>(frames.source()->getHeight()));
    mHelper->bindFrameBuffer(mFrameBuffer);
    const auto outputTexture = mHelper->genTextureFromGraphicBuffer(frames.destination(), false);
    if (outputTexture == nullptr) return UNKNOWN_ERROR;
    drawInto(outputTexture->texture, inputTexture->texture);
    return OK;
}

void APipeGLConverter::followCrop(const sp<APipeBuffer>& input, int width, int height) {
    Rect crop;
    if (!input->getMeta()->findRect("crop", &crop.left, &crop.top, &crop.right, &crop.bottom)) {
        return;
    }
    const Rect bounds(width, height);
    // The same crop means other texture coordinates in a buffer of another size.
    const bool resized = mCropBounds.isValid() && mCropBounds != bounds;
    mCropBounds = bounds;
    if (!updateCropIfChanged(crop) && !resized) return;

    const bool isWhole = hasSize(crop, width, height);
    if (isWhole && !mCropped) return;
    mCropped = !isWhole;
    mHelper->setCrop(isWhole ? bounds : crop, width, height);
    mHelper->deleteVertexArrays(mVertexArray);
    mVertexArray = mHelper->genVertexArrays();
}

bool APipeGLConverter::updateCropIfChanged(const Rect& crop) {
    const bool changed = crop != mCrop;
    mCrop = crop;
    return changed;
}

void APipeGLConverter::drawInto(GLuint output, GLuint input) {
    mHelper->attachFrameBufferTexture(GL_COLOR_ATTACHMENT0, output);
    mHelper->useProgram(mProgram);
    mHelper->setUniform("uTexture", 0);
    mHelper->bindVertexArrays(mVertexArray);
    mHelper->bindTexture(input, GL_TEXTURE0, true);
    mHelper->draw();
    mHelper->bindFrameBuffer(0);
    mHelper->bindVertexArrays(0);
    mHelper->useProgram(0);
}

void APipeGLConverter::setColorSpace(int colorSpace) {
    mFragmentSource = getFragmentSource(colorSpace);
}

std::string APipeGLConverter::getFragmentSource(int colorSpace) const {
    switch (colorSpace) {
        case HAL_DATASPACE_JFIF:
            return fragmentSource(kBt601, kFull);
        case HAL_DATASPACE_BT601_625:
        case HAL_DATASPACE_BT601_525:
            return fragmentSource(kBt601, kLimited);
        case HAL_DATASPACE_BT709:
            return fragmentSource(kBt709, kLimited);
        case HAL_DATASPACE_SRGB_LINEAR:
        case HAL_DATASPACE_SRGB:
            return fragmentSource(kBt709, kFull);
        default:
            break;
    }
    ALOGE("colorSpace(%u) is not determined with only dataspace",
          static_cast<unsigned int>(colorSpace));
    const int standard = colorSpace & HAL_DATASPACE_STANDARD_MASK;
    if (standard != HAL_DATASPACE_STANDARD_BT709) {
        ALOGI("use default colorspace (BT_709) for unsupported standard (%d)",
              standard >> HAL_DATASPACE_STANDARD_SHIFT);
    }
    const bool isFull = (colorSpace & HAL_DATASPACE_RANGE_MASK) == HAL_DATASPACE_RANGE_FULL;
    return fragmentSource(kBt709, isFull ? kFull : kLimited);
}

void APipeGLConverter::reset() {
    if (isOnInitThread("reset")) releaseContext();
}

void APipeGLConverter::releaseContext() {
    if (mHelper == nullptr) return;
    const APipeGLScope scope(mBinding);
    // A context that is not current takes them along, and another one has objects of these names.
    if (scope.isCurrent()) {
        mHelper->deleteFrameBuffer(mFrameBuffer);
        mHelper->deleteVertexArrays(mVertexArray);
        mHelper->deleteProgram(mProgram);
    }
    mHelper->release();
    mHelper.clear();
    mBinding = {};
    mFrameBuffer = 0;
    mVertexArray = 0;
    mProgram = 0;
    // The next quad covers the whole texture, whatever crop this one ended with.
    mCrop = Rect(0, 0, 0, 0);
    mCropBounds = Rect();
    mCropped = false;
}

}  // namespace android
