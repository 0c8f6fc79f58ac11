// A converter that turns YUV frames into RGBA frames with a shader on the GPU.
#pragma once

#include <GLES3/gl32.h>
#include <ui/Rect.h>

#include <string>
#include <thread>

#include "APipeConverter.h"
#include "APipeGLScope.h"
#include "OpenGLHelper.h"

namespace android {

/// APipeConverter over OpenGL ES: samples the input's graphics buffer as raw YUV, converts in a
/// fragment shader and renders into the output's graphics buffer. No pixel passes through the CPU.
///
/// The input is in a YUV format that the GPU samples, the output in Rgba8888 of the size that
/// init() was given. A "crop" in the input's metadata (right and bottom exclusive) is scaled to the
/// whole output and stays in force until another one comes.
///
/// A converter owns an EGL context and gives it up in reset() only: call that before the last
/// reference goes.
///
/// Threading: loop-bound to the thread that ran init(), where the context is current afterwards.
/// convert(), reset() and another init() from elsewhere are refused with an error log. Converters
/// on one thread do not touch each other: convert() and reset() make their own context current and
/// give the one before back.
class PLEXA_EXPORT APipeGLConverter : public APipeConverter {
public:
    APipeGLConverter();
    ~APipeGLConverter() override;

    APipeGLConverter(const APipeGLConverter&) = delete;
    APipeGLConverter& operator=(const APipeGLConverter&) = delete;

    /// Makes context, program and quad. Of `msg` it reads "width" and "height" of "dst".
    ///
    /// @return OK; BAD_VALUE without a "dst" that has both, each at least 1; UNKNOWN_ERROR when EGL
    ///         or the shader fails, and what was made until then stays until reset();
    ///         INVALID_OPERATION from another thread than the one that holds a context.
    status_t init(const sp<AMessage>& msg) override;

    /// @return OK when the frame was drawn, even if the wait for the GPU failed or ran out, which
    /// is
    ///         logged; UNKNOWN_ERROR before a successful init(), without a graphics buffer on both
    ///         sides, or when one cannot be made a texture or the context not current: that
    ///         concerns this frame only; INVALID_OPERATION on another thread than init()'s.
    status_t convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) override;

    /// A platform dataspace, for the next init(); see getFragmentSource().
    void setColorSpace(int colorSpace) override;

    void reset() override;

    /// The fragment shader of a platform dataspace: BT.601 only for its legacy values, BT.709 for
    /// everything else; limited range unless the dataspace says full.
    std::string getFragmentSource(int colorSpace) const;

    /// Stores `crop`; true when it differs from the one before.
    bool updateCropIfChanged(const Rect& crop);

private:
    bool isOnInitThread(const char* operation) const;
    bool readDstSize(const sp<AMessage>& msg);
    status_t setUpContext();
    void releaseContext();
    void followCrop(const sp<APipeBuffer>& input, int width, int height);
    void drawInto(GLuint output, GLuint input);

    sp<OpenGLHelper> mHelper;
    APipeGLScope::Binding mBinding;
    Rect mCrop{0, 0, 0, 0};
    std::string mFragmentSource;
    int mDstWidth = 0;
    int mDstHeight = 0;
    GLuint mProgram = 0;
    GLuint mVertexArray = 0;
    GLuint mFrameBuffer = 0;
    // Bounds of the buffer that mCrop came with, invalid before the first, and whether the quad
    // samples less than all of it.
    Rect mCropBounds;
    bool mCropped = false;
    std::thread::id mInitThread;
};

}  // namespace android
