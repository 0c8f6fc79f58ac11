// The GPU converter's work done by hand: a program that knows its driver and keeps its objects.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>

#include "support/frames.h"

namespace plexa::bench {

/// Uploads an NV12 frame into two textures, draws with the converter's BT.709 shader (two plain
/// samplers instead of the raw YUV one), waits for the fence and reads the pixels back. It calls
/// the host's driver directly.
///
/// Threading: on the thread that made it.
class GlProgram {
public:
    explicit GlProgram(Size size);
    ~GlProgram();
    GlProgram(const GlProgram&) = delete;
    GlProgram& operator=(const GlProgram&) = delete;

    /// False when the driver cannot do what is needed.
    bool isReady() const { return mIsReady; }
    /// Frames of the constructor's size, in graphics memory; output in RGBA.
    bool convert(const android::sp<android::APipeBuffer>& input,
                 const android::sp<android::APipeBuffer>& output);

private:
    void openContext();
    bool buildProgram();
    void makeTextures();
    void makeQuad();
    void upload(const android::sp<android::APipeBuffer>& input);
    bool draw();
    void readBack(const android::sp<android::APipeBuffer>& output);

    const Size mSize;
    bool mIsReady = false;
    EGLDisplay mDisplay = EGL_NO_DISPLAY;
    EGLContext mContext = EGL_NO_CONTEXT;
    EGLSurface mSurface = EGL_NO_SURFACE;
    GLuint mLuma = 0;
    GLuint mChroma = 0;
};

}  // namespace plexa::bench
