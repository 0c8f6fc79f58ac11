// OpenGLHelper: EGL and OpenGL ES calls.
#define LOG_TAG "OpenGLHelper"
#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES

#include "OpenGLHelper.h"

#include <GLES2/gl2ext.h>
#include <utils/Log.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>

namespace android {

namespace {

constexpr EGLTimeKHR kFenceTimeoutNs = 2'000'000'000;

constexpr EGLint kConfigAttributes[] = {EGL_RED_SIZE,
                                        8,
                                        EGL_GREEN_SIZE,
                                        8,
                                        EGL_BLUE_SIZE,
                                        8,
                                        EGL_ALPHA_SIZE,
                                        8,
                                        EGL_SURFACE_TYPE,
                                        EGL_PBUFFER_BIT,
                                        EGL_RENDERABLE_TYPE,
                                        EGL_OPENGL_ES2_BIT | EGL_OPENGL_ES3_BIT_KHR,
                                        EGL_DEPTH_SIZE,
                                        16,
                                        EGL_NONE};
constexpr EGLint kContextAttributes[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
constexpr EGLint kSurfaceAttributes[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};

struct Vertex {
    float x, y;
    float u, v;
};

constexpr uint32_t kQuadIndices[] = {0, 1, 3, 1, 2, 3};
constexpr GLsizei kQuadIndexCount = 6;

status_t failed(const char* step) {
    ALOGE("%s failed", step);
    return UNKNOWN_ERROR;
}

// "320" for a context of version 3.2.
std::string versionText() {
    GLint major = 0;
    GLint minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    char text[24];
    snprintf(text, sizeof(text), "%d%02d", major, minor <= 9 ? minor * 10 : minor);
    return text;
}

const void* offsetInBuffer(uintptr_t bytes) {
    return reinterpret_cast<const void*>(bytes);  // NOLINT(performance-no-int-to-ptr): GL's way
}

void setFilter(GLenum target, GLint filter) {
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
}

void setWrap(GLenum target, GLint wrap) {
    glTexParameteri(target, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, wrap);
}

void setAttribute(GLuint index, uintptr_t offset) {
    glVertexAttribPointer(index, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), offsetInBuffer(offset));
    glEnableVertexAttribArray(index);
}

}  // namespace

status_t OpenGLHelper::initialize() {
    release();
    const status_t status = openDisplay();
    return status == OK ? createContext() : status;
}

status_t OpenGLHelper::openDisplay() {
    mDisplay = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (mDisplay == EGL_NO_DISPLAY) return failed("eglGetDisplay");

    EGLint major;
    EGLint minor;
    if (eglInitialize(mDisplay, &major, &minor) != EGL_TRUE) return failed("eglInitialize");
    if (eglBindAPI(EGL_OPENGL_ES_API) == EGL_FALSE) return failed("eglBindAPI");
    return OK;
}

status_t OpenGLHelper::createContext() {
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (eglChooseConfig(mDisplay, kConfigAttributes, &config, 1, &count) == EGL_FALSE ||
        count < 1) {
        return failed("eglChooseConfig");
    }
    mContext = eglCreateContext(mDisplay, config, EGL_NO_CONTEXT, kContextAttributes);
    if (mContext == EGL_NO_CONTEXT) return failed("eglCreateContext");
    mSurface = eglCreatePbufferSurface(mDisplay, config, kSurfaceAttributes);
    if (mSurface == EGL_NO_SURFACE) return failed("eglCreatePbufferSurface");
    if (eglMakeCurrent(mDisplay, mSurface, mSurface, mContext) != EGL_TRUE) {
        return failed("eglMakeCurrent");
    }
    return OK;
}

void OpenGLHelper::release() {
    if (mDisplay == EGL_NO_DISPLAY) return;
    eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (mContext != EGL_NO_CONTEXT) {
        eglDestroyContext(mDisplay, mContext);
        mContext = EGL_NO_CONTEXT;
    }
    if (mSurface != EGL_NO_SURFACE) {
        eglDestroySurface(mDisplay, mSurface);
        mSurface = EGL_NO_SURFACE;
    }
    eglReleaseThread();
    eglTerminate(mDisplay);
    mDisplay = EGL_NO_DISPLAY;
    // The names in it were the context's.
    mQuadBuffers.clear();
}

status_t OpenGLHelper::createProgram(unsigned int& program, const std::string& vertexSource,
                                     const std::string& fragmentSource) {
    const std::string versionLine = "#version " + versionText() + " es\n";
    program = 0;
    const GLuint vertexShader =
        compileShader(GL_VERTEX_SHADER, versionLine + vertexSource, "VertexShader compilation");
    if (vertexShader == 0) return UNKNOWN_ERROR;
    const GLuint fragmentShader = compileShader(GL_FRAGMENT_SHADER, versionLine + fragmentSource,
                                                "FragmentShader compilation");
    if (fragmentShader == 0) {
        glDeleteShader(vertexShader);
        return UNKNOWN_ERROR;
    }
    const status_t status = linkProgram(vertexShader, fragmentShader);
    glDeleteShader(vertexShader);
    glDeleteShader(fragmentShader);
    if (status == OK) program = mProgram;
    return status;
}

GLuint OpenGLHelper::compileShader(GLenum type, const std::string& source,
                                   const std::string& label) {
    const GLuint shader = glCreateShader(type);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    if (checkErrors(shader, GL_COMPILE_STATUS, label, true) == OK) return shader;
    glDeleteShader(shader);
    return 0;
}

status_t OpenGLHelper::linkProgram(GLuint vertexShader, GLuint fragmentShader) {
    mProgram = glCreateProgram();
    glAttachShader(mProgram, vertexShader);
    glAttachShader(mProgram, fragmentShader);
    glLinkProgram(mProgram);
    const status_t status = checkErrors(mProgram, GL_LINK_STATUS, "Shaders linking", false);
    if (status != OK) glDeleteProgram(mProgram);
    return status;
}

status_t OpenGLHelper::checkErrors(unsigned int object, unsigned int statusParam,
                                   const std::string& label, bool isShader) {
    const auto getParam = isShader ? glGetShaderiv : glGetProgramiv;
    const auto getInfoLog = isShader ? glGetShaderInfoLog : glGetProgramInfoLog;
    GLint status = 0;
    getParam(object, statusParam, &status);
    if (status != 0) return OK;

    GLint length = 0;
    getParam(object, GL_INFO_LOG_LENGTH, &length);
    const std::unique_ptr<char[]> infoLog(new (std::nothrow) char[static_cast<size_t>(length) + 1]);
    if (infoLog == nullptr) return UNKNOWN_ERROR;
    // A log of length 0 is not written at all.
    infoLog[0] = '\0';
    infoLog[static_cast<size_t>(length)] = '\0';
    getInfoLog(object, length, nullptr, infoLog.get());
    ALOGE("%s failed :\n%s", label.c_str(), infoLog.get());
    return UNKNOWN_ERROR;
}

void OpenGLHelper::setCrop(const Rect& crop, int width, int height) {
    // In 64 bits, where no crop overflows.
    const auto rightMargin = int64_t{width} - crop.right;
    const auto bottomMargin = int64_t{height} - crop.bottom;
    const auto bufferWidth = static_cast<float>(width);
    const auto bufferHeight = static_cast<float>(height);
    mCropLeft = static_cast<float>(crop.left) / bufferWidth;
    mCropTop = static_cast<float>(crop.top) / bufferHeight;
    mCropRightMargin = static_cast<float>(rightMargin) / bufferWidth;
    mCropBottomMargin = static_cast<float>(bottomMargin) / bufferHeight;
}

GLuint OpenGLHelper::genVertexArrays() {
    const float uMin = mCropLeft;
    const float vMin = mCropTop;
    const float uMax = 1.0f - mCropRightMargin;
    const float vMax = 1.0f - mCropBottomMargin;
    const Vertex quad[] = {
        {1, 1, uMax, vMax}, {1, -1, uMax, vMin}, {-1, -1, uMin, vMin}, {-1, 1, uMin, vMax}};

    std::array<GLuint, 2> buffers{};
    glGenVertexArrays(1, &mVertexArray);
    glGenBuffers(1, &buffers[0]);
    glGenBuffers(1, &buffers[1]);
    mQuadBuffers[mVertexArray] = buffers;

    glBindVertexArray(mVertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
    glBufferData(GL_ARRAY_BUFFER, sizeof(quad), quad, GL_STATIC_DRAW);
    setAttribute(0, offsetof(Vertex, x));
    setAttribute(1, offsetof(Vertex, u));
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[1]);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(kQuadIndices), kQuadIndices, GL_STATIC_DRAW);
    return mVertexArray;
}

GLuint OpenGLHelper::genTextureFromImageData(const void* pixels, const AndroidBitmapInfo& info) {
    if (pixels == nullptr) {
        ALOGE("genTextureFromImageData buffer is nullptr");
        return GL_INVALID_VALUE;
    }
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    setWrap(GL_TEXTURE_2D, GL_REPEAT);
    setFilter(GL_TEXTURE_2D, GL_LINEAR);

    const auto width = static_cast<GLsizei>(info.width);
    const auto height = static_cast<GLsizei>(info.height);
    if (info.format == ANDROID_BITMAP_FORMAT_RGBA_8888) {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     pixels);
    } else if (info.format == ANDROID_BITMAP_FORMAT_RGB_565) {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, width, height, 0, GL_RGB, GL_UNSIGNED_SHORT_5_6_5,
                     pixels);
    } else {
        ALOGE("unsupported format (%d)", info.format);
    }
    glGenerateMipmap(GL_TEXTURE_2D);
    return texture;
}

std::shared_ptr<OpenGLHelper::EglImageTexture> OpenGLHelper::genTextureFromGraphicBuffer(
    const sp<GraphicBuffer>& buffer, bool external) {
    if (buffer == nullptr) {
        ALOGE("genTextureFromGraphicBuffer buffer is nullptr");
        return nullptr;
    }
    const EGLImageKHR image =
        eglCreateImageKHR(mDisplay, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                          static_cast<EGLClientBuffer>(buffer->getNativeBuffer()), nullptr);
    if (image == EGL_NO_IMAGE_KHR) {
        ALOGE("eglCreateImageKHR failed");
        return nullptr;
    }
    const GLenum target = external ? GL_TEXTURE_EXTERNAL_OES : GL_TEXTURE_2D;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    if (external) {
        setFilter(target, GL_LINEAR);
        setWrap(target, GL_CLAMP_TO_EDGE);
    } else {
        setWrap(target, GL_REPEAT);
        setFilter(target, GL_LINEAR);
    }
    glEGLImageTargetTexture2DOES(target, image);
    return {new EglImageTexture{image, texture},
            [this](EglImageTexture* imageTexture) { deleteImageTexture(imageTexture); }};
}

void OpenGLHelper::deleteImageTexture(EglImageTexture* imageTexture) const {
    glDeleteTextures(1, &imageTexture->texture);
    eglDestroyImageKHR(mDisplay, imageTexture->image);
    delete imageTexture;
}

GLuint OpenGLHelper::genFrameBuffer() {
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    bindFrameBuffer(framebuffer);
    return framebuffer;
}

void OpenGLHelper::setUniform(const std::string& name, float value) const {
    glUniform1f(glGetUniformLocation(mProgram, name.c_str()), value);
}

void OpenGLHelper::setUniform(const std::string& name, int value) const {
    glUniform1i(glGetUniformLocation(mProgram, name.c_str()), value);
}

void OpenGLHelper::draw() {
    glDrawElements(GL_TRIANGLES, kQuadIndexCount, GL_UNSIGNED_INT, nullptr);

    const EGLSyncKHR sync = eglCreateSyncKHR(mDisplay, EGL_SYNC_FENCE_KHR, nullptr);
    if (sync == EGL_NO_SYNC_KHR) {
        // Asked for whether or not it is logged: otherwise the next call would seem to have failed.
        const EGLint error = eglGetError();
        ALOGW("failed to create EGL fence sync: %#x", error);
        return;
    }
    const EGLint result =
        eglClientWaitSyncKHR(mDisplay, sync, EGL_SYNC_FLUSH_COMMANDS_BIT_KHR, kFenceTimeoutNs);
    const EGLint error = eglGetError();
    eglDestroySyncKHR(mDisplay, sync);
    if (result == EGL_TIMEOUT_EXPIRED_KHR) {
        ALOGW("fence wait timed out");
    } else if (result != EGL_CONDITION_SATISFIED_KHR) {
        ALOGW("error waiting on EGL fence: %#x", error);
    }
}

void OpenGLHelper::setViewPort(int x, int y, int width, int height) {
    glViewport(x, y, width, height);
}

void OpenGLHelper::useProgram(unsigned int program) {
    mProgram = program;
    glUseProgram(program);
}

void OpenGLHelper::bindVertexArrays(unsigned int vao) const {
    if (vao != 0 && vao != mVertexArray) {
        ALOGE("useVertexArrays wrong VAO (%u)", vao);
        return;
    }
    glBindVertexArray(vao);
}

void OpenGLHelper::bindFrameBuffer(unsigned int framebuffer) {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
}

void OpenGLHelper::attachFrameBufferTexture(unsigned int attachment, unsigned int texture) {
    glFramebufferTexture2D(GL_FRAMEBUFFER, attachment, GL_TEXTURE_2D, texture, 0);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) ALOGE("glCheckFrameBufferStatus failed %d", status);
}

void OpenGLHelper::bindTexture(unsigned int texture, int textureUnit, bool external) {
    if (textureUnit >= 1) glActiveTexture(static_cast<GLenum>(textureUnit));
    glBindTexture(external ? GL_TEXTURE_EXTERNAL_OES : GL_TEXTURE_2D, texture);
}

void OpenGLHelper::deleteTexture(unsigned int texture) {
    glDeleteTextures(1, &texture);
}

void OpenGLHelper::deleteFrameBuffer(unsigned int framebuffer) {
    glDeleteFramebuffers(1, &framebuffer);
}

void OpenGLHelper::deleteVertexArrays(unsigned int vao) {
    glDeleteVertexArrays(1, &vao);
    const auto buffers = mQuadBuffers.extract(vao);
    if (!buffers.empty()) glDeleteBuffers(2, buffers.mapped().data());
}

void OpenGLHelper::deleteProgram(unsigned int program) {
    glDeleteProgram(program);
}

}  // namespace android
