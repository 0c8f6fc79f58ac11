// The EGL and OpenGL ES stand-in as a caller of EGL and GL sees it.
#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>

#include <GLES2/gl2ext.h>
#include <gtest/gtest.h>
#include <host/GraphicsCounts.h>
#include <system/graphics.h>

#include <string>

#include "support/GlTest.h"
#include "support/PixelBuffers.h"

namespace android {
namespace {

using namespace plexa;

constexpr char kHeader[] = "#version 320 es\n";
constexpr char kVertex[] =
    "void main() { gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, "
    "gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0); }";

// A context and a frame buffer of 4x4, and a triangle that covers it.
class Gles : public GlTest {
protected:
    static constexpr int kSide = 4;

    Gles() {
        mDisplay = eglGetDisplay(EGL_DEFAULT_DISPLAY);
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
        EXPECT_EQ(eglMakeCurrent(mDisplay, mSurface, mSurface, mContext), EGL_TRUE);
        glGenFramebuffers(1, &mFrameBuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, mFrameBuffer);
        glViewport(0, 0, kSide, kSide);
    }
    ~Gles() override {
        eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(mDisplay, mContext);
        eglDestroySurface(mDisplay, mSurface);
        eglTerminate(mDisplay);
    }

    EGLImageKHR imageOf(const sp<GraphicBuffer>& buffer) {
        return eglCreateImageKHR(mDisplay, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                 buffer->getNativeBuffer(), nullptr);
    }
    // A texture of the buffer, bound to the active unit; its image is gone already.
    GLuint textureOf(const sp<GraphicBuffer>& buffer, GLenum target) {
        const EGLImageKHR image = imageOf(buffer);
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(target, texture);
        glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glEGLImageTargetTexture2DOES(target, image);
        eglDestroyImageKHR(mDisplay, image);
        return texture;
    }
    void drawInto(const sp<GraphicBuffer>& output) {
        const GLuint texture = textureOf(output, GL_TEXTURE_2D);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        drawAndWait();
        glDeleteTextures(1, &texture);
    }
    void drawAndWait() {
        constexpr GLuint kIndices[] = {0, 1, 2};
        glDrawElements(GL_TRIANGLES, 3, GL_UNSIGNED_INT, kIndices);
        const EGLSyncKHR sync = eglCreateSyncKHR(mDisplay, EGL_SYNC_FENCE_KHR, nullptr);
        EXPECT_EQ(
            eglClientWaitSyncKHR(mDisplay, sync, EGL_SYNC_FLUSH_COMMANDS_BIT_KHR, EGL_FOREVER_KHR),
            EGL_CONDITION_SATISFIED_KHR);
        eglDestroySyncKHR(mDisplay, sync);
    }
    static GLuint shaderOf(GLenum type, const std::string& source) {
        const GLuint shader = glCreateShader(type);
        // In pieces, one with a length and one without.
        const char* pieces[] = {kHeader, source.c_str()};
        const GLint lengths[] = {static_cast<GLint>(sizeof(kHeader) - 1), -1};
        glShaderSource(shader, 2, pieces, lengths);
        glCompileShader(shader);
        return shader;
    }
    // 0 when it does not compile.
    static GLuint programOf(const std::string& fragment) {
        const GLuint program = glCreateProgram();
        for (const auto& [type, source] :
             {std::pair<GLenum, std::string>{GL_VERTEX_SHADER, kVertex},
              {GL_FRAGMENT_SHADER, fragment}}) {
            const GLuint shader = shaderOf(type, source);
            glAttachShader(program, shader);
            glDeleteShader(shader);
        }
        glLinkProgram(program);
        GLint isLinked = 0;
        glGetProgramiv(program, GL_LINK_STATUS, &isLinked);
        if (isLinked == 0) {
            glDeleteProgram(program);
            return 0;
        }
        glUseProgram(program);
        return program;
    }

    EGLDisplay mDisplay = EGL_NO_DISPLAY;
    EGLContext mContext = EGL_NO_CONTEXT;
    EGLSurface mSurface = EGL_NO_SURFACE;
    GLuint mFrameBuffer = 0;
};

TEST_F(Gles, SamplesRawYuvHoweverTheShaderSpellsIt) {
    const std::string kShaders[] = {
        "#extension GL_EXT_YUV_target : require\nprecision highp float; out vec4 c;"
        "uniform __samplerExternal2DY2YEXT s; void main() { c = texture(s, vec2(0.5)); }",
        "  #  extension GL_EXT_YUV_target:enable\nuniform  highp\n__samplerExternal2DY2YEXT  "
        "long_1 ;"
        "precision mediump float; out vec4 c;"
        "void main() { // texture(long_1,\n/* */ c = vec4(texture ( long_1 , vec2(0.1, 0.9)).xyz, "
        "1.0); }",
        "#extension GL_EXT_YUV_target : require\nprecision highp float; out vec4 c; uniform "
        "sampler2D texture_s; uniform __samplerExternal2DY2YEXT s; vec4 f(vec2 p) { return "
        "texture(s, p); } void main() { c = f(vec2(0.5)) + texture(texture_s, vec2(0.5)) * 0.0; }",
    };
    const auto input = yuvBuffer(kSide, kSide, [](int, int) { return Yuv{10, 20, 30}; });
    const GLuint texture = textureOf(input, GL_TEXTURE_EXTERNAL_OES);
    for (const std::string& shader : kShaders) {
        const GLuint program = programOf(shader);
        ASSERT_NE(program, 0u) << shader;
        const auto output = rgbaBuffer(kSide, kSide);
        drawInto(output);
        EXPECT_EQ(rgbaAt(output, 1, 1), (Rgba{10, 20, 30, 255})) << shader;
        glDeleteProgram(program);
    }
    EXPECT_EQ(programOf("precision highp float; out vec4 c; uniform __samplerExternal2DY2YEXT s; "
                        "void main() { c = texture(s, vec2(0.5)); }"),
              0u)
        << "the extension was not asked for";
    glDeleteTextures(1, &texture);
}

TEST_F(Gles, KeepsTheLinesOfARewrittenShader) {
    const GLuint shader =
        shaderOf(GL_FRAGMENT_SHADER,
                 "#extension GL_EXT_YUV_target : require\nprecision highp float;\nuniform "
                 "__samplerExternal2DY2YEXT s;\nvoid main() { nonsense }");
    char log[512] = {};
    glGetShaderInfoLog(shader, sizeof(log) - 1, nullptr, log);
    EXPECT_NE(std::string(log).find(":5("), std::string::npos) << log;
    glDeleteShader(shader);
}

TEST_F(Gles, SamplesTheUnitThatTheUniformNames) {
    const GLuint program = programOf(
        "#extension GL_EXT_YUV_target : require\nprecision highp float; out vec4 c; "
        "layout (location = 1) uniform __samplerExternal2DY2YEXT a; "
        "layout (location = 2) uniform __samplerExternal2DY2YEXT b; "
        "layout (location = 3) uniform sampler2D rgba; void main() { "
        "c = vec4(texture(a, vec2(0.5)).x, dot(texture(b, vec2(0.5)).xy, vec2(1.0)), "
        "texture(rgba, vec2(0.5)).z, 1.0); }");
    ASSERT_NE(program, 0u);
    const auto first = yuvBuffer(kSide, kSide, [](int, int) { return Yuv{10, 20, 30}; });
    const auto second = yuvBuffer(2, 2, [](int, int) { return Yuv{40, 50, 60}; });
    const auto third = rgbaBuffer(3, 3);
    void* pixels = nullptr;
    ASSERT_EQ(third->lock(GRALLOC_USAGE_SW_WRITE_OFTEN, &pixels), OK);
    memset(pixels, 70, size_t{4} * third->getStride() * 3);
    third->unlock();
    glUniform1i(1, 5);
    glUniform1i(2, 2);
    glUniform1i(3, 3);
    GLuint textures[3];
    glActiveTexture(GL_TEXTURE5);
    textures[0] = textureOf(first, GL_TEXTURE_EXTERNAL_OES);
    glActiveTexture(GL_TEXTURE2);
    textures[1] = textureOf(second, GL_TEXTURE_EXTERNAL_OES);
    glActiveTexture(GL_TEXTURE3);
    textures[2] = textureOf(third, GL_TEXTURE_2D);
    glActiveTexture(GL_TEXTURE0);

    const auto output = rgbaBuffer(kSide, kSide);
    drawInto(output);
    EXPECT_EQ(rgbaAt(output, 3, 3), (Rgba{10, 90, 70, 255}));
    GLint active = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    EXPECT_EQ(active, GL_TEXTURE0) << "state of the caller's was left changed";
    glDeleteTextures(3, textures);
    glDeleteProgram(program);
}

TEST_F(Gles, AliasesBuffersAtEveryDraw) {
    const GLuint program = programOf(
        "#extension GL_EXT_YUV_target : require\nprecision highp float; out vec4 c; "
        "uniform __samplerExternal2DY2YEXT s; void main() { c = texture(s, vec2(0.5)); }");
    const auto input = yuvBuffer(kSide, kSide, [](int, int) { return Yuv{1, 2, 3}; });
    const GLuint texture = textureOf(input, GL_TEXTURE_EXTERNAL_OES);
    const auto output = rgbaBuffer(kSide, kSide);
    drawInto(output);
    fill(input, [](int, int) { return Yuv{4, 5, 6}; });
    // Only what the viewport and the scissor leave is drawn.
    glViewport(1, 0, 3, kSide);
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 2, kSide, 1);
    drawInto(output);
    EXPECT_EQ(rgbaAt(output, 0, 2), (Rgba{1, 2, 3, 255}));
    EXPECT_EQ(rgbaAt(output, 1, 1), (Rgba{1, 2, 3, 255}));
    EXPECT_EQ(rgbaAt(output, 1, 2), (Rgba{4, 5, 6, 255}));
    EXPECT_EQ(rgbaAt(output, 3, 3), (Rgba{1, 2, 3, 255}));
    glDeleteTextures(1, &texture);
    glDeleteProgram(program);
}

TEST_F(Gles, SeesInTheSecondDrawWhatTheFirstOneDrew) {
    const GLuint fillProgram = programOf(
        "precision highp float; out vec4 c; void main() { c = vec4(0.2, 0.4, 0.6, 1.0); }");
    const auto between = rgbaBuffer(kSide, kSide);
    const GLuint target = textureOf(between, GL_TEXTURE_2D);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    constexpr GLuint kIndices[] = {0, 1, 2};
    glDrawElements(GL_TRIANGLES, 3, GL_UNSIGNED_INT, kIndices);

    const GLuint copyProgram = programOf(
        "precision highp float; out vec4 c; uniform sampler2D s; "
        "void main() { c = texture(s, vec2(0.5)).zyxw; }");
    glActiveTexture(GL_TEXTURE1);
    const GLuint source = textureOf(between, GL_TEXTURE_2D);
    glUniform1i(glGetUniformLocation(copyProgram, "s"), 1);
    glActiveTexture(GL_TEXTURE0);
    const auto output = rgbaBuffer(kSide, kSide);
    drawInto(output);
    EXPECT_EQ(rgbaAt(output, 2, 2), (Rgba{153, 102, 51, 255}));
    glDeleteTextures(1, &target);
    glDeleteTextures(1, &source);
    glDeleteProgram(fillProgram);
    glDeleteProgram(copyProgram);
}

TEST_F(Gles, KeepsABufferAsLongAsImageOrTexture) {
    const host::GraphicsCounts before = host::graphicsCounts();
    auto buffer = yuvBuffer(kSide, kSide, [](int, int) { return Yuv{}; });
    const EGLImageKHR image = imageOf(buffer);
    const GLuint texture = textureOf(buffer, GL_TEXTURE_EXTERNAL_OES);
    buffer.clear();
    eglDestroyImageKHR(mDisplay, image);
    EXPECT_EQ(host::glesCounts().images, 0);
    EXPECT_EQ(host::graphicsCounts().buffers, before.buffers + 1) << "the texture has it";
    glDeleteTextures(1, &texture);
    EXPECT_EQ(host::graphicsCounts(), before);
}

TEST_F(Gles, SaysWhyARawYuvSamplerGetsNothing) {
    const GLuint program = programOf(
        "#extension GL_EXT_YUV_target : require\nprecision highp float; out vec4 c; "
        "uniform __samplerExternal2DY2YEXT s; void main() { c = texture(s, vec2(0.5)); }");
    const auto output = rgbaBuffer(kSide, kSide);
    drawInto(output);
    EXPECT_TRUE(hasError("PlexaGles", "has no image to sample"));
    const GLuint texture = textureOf(rgbaBuffer(2, 2), GL_TEXTURE_EXTERNAL_OES);
    drawInto(output);
    EXPECT_TRUE(hasError("PlexaGles", "cannot sample an RGBA buffer"));
    EXPECT_EQ(rgbaAt(output, 0, 0), (Rgba{0, 0, 0, 255}));
    glDeleteTextures(1, &texture);
    glDeleteProgram(program);
}

}  // namespace
}  // namespace android
