// OpenGLHelper: an off-screen OpenGL ES context with what drawing a frame into a frame takes.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>
#include <ui/GraphicBuffer.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <array>
#include <map>
#include <memory>
#include <string>

#include "APipeBitmapInfo.h"
#include "APipeExport.h"

namespace android {

/// One EGL display connection, one OpenGL ES 3 context and a 1x1 pbuffer surface that lets it be
/// current, with the GL primitives of a converter: a program, a full-screen quad that follows a
/// crop, textures that alias graphics buffers, a frame buffer and a draw that waits for the GPU.
///
/// Life: initialize(), any number of operations, release(). The owner deletes what it made
/// (program, vertex arrays, frame buffers, textures) before release(), which the destructor does
/// not call. Failures are logged; where a status is returned it is OK or UNKNOWN_ERROR.
///
/// Threading: not thread-safe. The context is current on the thread that called initialize(), and
/// every other operation belongs on that thread.
class PLEXA_EXPORT OpenGLHelper : public RefBase {
public:
    /// A texture whose pixels are a graphics buffer's. It goes with its last owner and uses the
    /// helper that made it to do so: let go of it before release() and before the helper's end.
    struct EglImageTexture {
        EGLImageKHR image;
        GLuint texture;
    };

    OpenGLHelper() = default;
    OpenGLHelper(const OpenGLHelper&) = delete;
    OpenGLHelper& operator=(const OpenGLHelper&) = delete;

    /// Makes display, context and surface and makes the context current on this thread. After a
    /// failure release() frees what was made so far; a second call releases what the first made.
    status_t initialize();

    /// Gives up surface, context and display. Without a display it does nothing.
    void release();

    /// Compiles and links; the version line of both sources is prepended and matches the context.
    /// `program` receives the name, 0 on failure, when nothing of the attempt is left but the
    /// compiler's words in the log.
    status_t createProgram(unsigned int& program, const std::string& vertexSource,
                           const std::string& fragmentSource);

    /// Asks a shader or program for `statusParam`, GL_COMPILE_STATUS or GL_LINK_STATUS; a status of
    /// 0 is logged as "<label> failed" with the info log.
    status_t checkErrors(unsigned int object, unsigned int statusParam, const std::string& label,
                         bool isShader);

    /// The part of a buffer of width x height that the next genVertexArrays() lets the quad sample.
    void setCrop(const Rect& crop, int width, int height);

    /// Makes the quad, leaves its vertex array bound and returns it. Texture row 0 lands on row 0
    /// of the render target. Its vertex and index buffers go with deleteVertexArrays().
    GLuint genVertexArrays();

    /// A 2D texture with mipmaps from tightly packed pixels of format RGBA_8888 or RGB_565; info's
    /// stride is not used. GL_INVALID_VALUE instead of a name when pixels is null; another format
    /// leaves the texture empty.
    GLuint genTextureFromImageData(const void* pixels, const AndroidBitmapInfo& info);

    /// A texture that aliases `buffer`; null on failure. `external` selects
    /// GL_TEXTURE_EXTERNAL_OES, the target for sampling YUV; a render target needs GL_TEXTURE_2D.
    std::shared_ptr<EglImageTexture> genTextureFromGraphicBuffer(const sp<GraphicBuffer>& buffer,
                                                                 bool external);

    /// A new frame buffer object, bound.
    GLuint genFrameBuffer();

    /// Sets a uniform of the program that createProgram() or useProgram() named last.
    void setUniform(const std::string& name, float value) const;
    void setUniform(const std::string& name, int value) const;

    /// Draws the quad with whatever is bound and waits until the GPU is done, for 2 seconds at
    /// most. A wait that fails or runs out is only logged.
    void draw();

    void setViewPort(int x, int y, int width, int height);
    void useProgram(unsigned int program);
    /// Takes 0 and the last result of genVertexArrays(); any other name is refused with a log.
    void bindVertexArrays(unsigned int vao) const;
    void bindFrameBuffer(unsigned int framebuffer);
    /// Level 0 of a 2D texture, to the bound frame buffer. An incomplete result is only logged.
    void attachFrameBufferTexture(unsigned int attachment, unsigned int texture);
    /// `textureUnit` is the enumerant (GL_TEXTURE0 …); 0 keeps the active unit.
    void bindTexture(unsigned int texture, int textureUnit, bool external);

    void deleteTexture(unsigned int texture);
    void deleteFrameBuffer(unsigned int framebuffer);
    void deleteVertexArrays(unsigned int vao);
    void deleteProgram(unsigned int program);

protected:
    ~OpenGLHelper() override = default;

private:
    status_t openDisplay();
    status_t createContext();
    GLuint compileShader(GLenum type, const std::string& source, const std::string& label);
    status_t linkProgram(GLuint vertexShader, GLuint fragmentShader);
    void deleteImageTexture(EglImageTexture* imageTexture) const;

    GLuint mProgram = 0;
    GLuint mVertexArray = 0;
    EGLDisplay mDisplay = EGL_NO_DISPLAY;
    EGLContext mContext = EGL_NO_CONTEXT;
    EGLSurface mSurface = EGL_NO_SURFACE;
    // Parts of the buffer's width and height, all 0 for the whole of it.
    float mCropLeft = 0;
    float mCropTop = 0;
    float mCropRightMargin = 0;
    float mCropBottomMargin = 0;
    // The vertex and index buffer of each vertex array.
    std::map<GLuint, std::array<GLuint, 2>> mQuadBuffers;
};

}  // namespace android
