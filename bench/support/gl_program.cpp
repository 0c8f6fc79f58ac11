// The GPU converter's work done by hand.
#include "support/gl_program.h"

#include <cstdint>

namespace plexa::bench {

using namespace android;

namespace {

constexpr EGLTime kPatienceNs = 2'000'000'000;

constexpr char kVertexShader[] =
    "#version 320 es\n"
    "layout (location = 0) in vec2 vertexPos; layout (location = 1) in vec2 texCoord; "
    "out vec2 tCoord; void main() { tCoord = texCoord; "
    "gl_Position = vec4(vertexPos.xy, 0.0f, 1.0f); }";

constexpr char kFragmentShader[] =
    "#version 320 es\nprecision highp float; "
    "layout (location = 2) uniform highp sampler2D luma; "
    "layout (location = 3) uniform highp sampler2D chroma; "
    "in vec2 tCoord; out vec4 fragColor; vec3 nv12_to_rgba(vec3 yuv) { "
    "yuv.x = (yuv.x * 255.0 - 16.0) * 0.00456621; "
    "yuv.y = (yuv.y * 255.0 - 128.0) * 0.00446428; "
    "yuv.z = (yuv.z * 255.0 - 128.0) * 0.00446428; "
    "vec3 rgb; rgb.r = yuv.x + 1.5748 * yuv.z; "
    "rgb.g = yuv.x - 0.187324 * yuv.y - 0.468124 * yuv.z; "
    "rgb.b = yuv.x + 1.8556 * yuv.y; return rgb; } "
    "void main(void) { vec3 yuv = vec3(texture(luma, tCoord).r, texture(chroma, tCoord).rg); "
    "fragColor = vec4(nv12_to_rgba(yuv), 1.0); }";

GLuint compile(GLenum type, const char* source) {
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    return shader;
}

GLuint makeTexture(GLenum format, Size size) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexStorage2D(GL_TEXTURE_2D, 1, format, size.width, size.height);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return texture;
}

}  // namespace

GlProgram::GlProgram(Size size) : mSize(size) {
    openContext();
    if (mContext == EGL_NO_CONTEXT || !buildProgram()) return;
    makeTextures();
    makeQuad();
    glViewport(0, 0, mSize.width, mSize.height);
    mIsReady = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
}

GlProgram::~GlProgram() {
    eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (mContext != EGL_NO_CONTEXT) eglDestroyContext(mDisplay, mContext);
    if (mSurface != EGL_NO_SURFACE) eglDestroySurface(mDisplay, mSurface);
}

void GlProgram::openContext() {
    mDisplay = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    eglInitialize(mDisplay, nullptr, nullptr);
    eglBindAPI(EGL_OPENGL_ES_API);
    constexpr EGLint kConfig[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE,
                                  EGL_OPENGL_ES3_BIT, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    eglChooseConfig(mDisplay, kConfig, &config, 1, &count);
    constexpr EGLint kContext[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    mContext = eglCreateContext(mDisplay, config, EGL_NO_CONTEXT, kContext);
    constexpr EGLint kSurface[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    mSurface = eglCreatePbufferSurface(mDisplay, config, kSurface);
    eglMakeCurrent(mDisplay, mSurface, mSurface, mContext);
}

bool GlProgram::buildProgram() {
    const GLuint program = glCreateProgram();
    glAttachShader(program, compile(GL_VERTEX_SHADER, kVertexShader));
    glAttachShader(program, compile(GL_FRAGMENT_SHADER, kFragmentShader));
    glLinkProgram(program);
    GLint isLinked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &isLinked);
    glUseProgram(program);
    glUniform1i(2, 0);
    glUniform1i(3, 1);
    return isLinked == GL_TRUE;
}

void GlProgram::makeTextures() {
    glActiveTexture(GL_TEXTURE2);
    const GLuint target = makeTexture(GL_RGBA8, mSize);
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    glActiveTexture(GL_TEXTURE0);
    mLuma = makeTexture(GL_R8, mSize);
    glActiveTexture(GL_TEXTURE1);
    mChroma = makeTexture(GL_RG8, {mSize.width / 2, mSize.height / 2});
}

void GlProgram::makeQuad() {
    constexpr float kVertices[] = {1, 1, 1, 1, 1, -1, 1, 0, -1, -1, 0, 0, -1, 1, 0, 1};
    constexpr uint32_t kIndices[] = {0, 1, 3, 1, 2, 3};
    constexpr GLsizei kStride = 4 * sizeof(float);
    GLuint array = 0;
    GLuint buffers[2] = {};
    glGenVertexArrays(1, &array);
    glGenBuffers(2, buffers);
    glBindVertexArray(array);
    glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
    glBufferData(GL_ARRAY_BUFFER, sizeof(kVertices), kVertices, GL_STATIC_DRAW);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, kStride, nullptr);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, kStride,
                          reinterpret_cast<const void*>(2 * sizeof(float)));
    glEnableVertexAttribArray(1);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[1]);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(kIndices), kIndices, GL_STATIC_DRAW);
}

bool GlProgram::convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) {
    upload(input);
    if (!draw()) return false;
    readBack(output);
    return true;
}

void GlProgram::upload(const sp<APipeBuffer>& input) {
    uint8_t* luma = nullptr;
    uint8_t* cb = nullptr;
    uint8_t* cr = nullptr;
    input->getYCbCr(&luma, &cb, &cr);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, input->getStride());
    glActiveTexture(GL_TEXTURE0);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, mSize.width, mSize.height, GL_RED, GL_UNSIGNED_BYTE,
                    luma);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, input->getCStride() / 2);
    glActiveTexture(GL_TEXTURE1);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, mSize.width / 2, mSize.height / 2, GL_RG,
                    GL_UNSIGNED_BYTE, cb);
}

bool GlProgram::draw() {
    glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr);
    const EGLSync sync = eglCreateSync(mDisplay, EGL_SYNC_FENCE, nullptr);
    const EGLint result =
        eglClientWaitSync(mDisplay, sync, EGL_SYNC_FLUSH_COMMANDS_BIT, kPatienceNs);
    eglDestroySync(mDisplay, sync);
    return result == EGL_CONDITION_SATISFIED;
}

void GlProgram::readBack(const sp<APipeBuffer>& output) {
    uint8_t* pixels = nullptr;
    uint8_t* none = nullptr;
    output->getYCbCr(&pixels, &none, &none);
    glPixelStorei(GL_PACK_ROW_LENGTH, output->getStride());
    glReadPixels(0, 0, mSize.width, mSize.height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
}

}  // namespace plexa::bench
