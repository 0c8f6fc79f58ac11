// OpenGLHelper by itself: programs, quads, textures, and what it leaves behind.
#include "OpenGLHelper.h"

#include <android/bitmap.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "support/GlFrames.h"
#include "support/GlTest.h"

namespace android {
namespace {

using namespace plexa;

constexpr char kTag[] = "OpenGLHelper";
constexpr char kVertex[] =
    "layout (location = 0) in vec2 p; layout (location = 1) in vec2 t; out vec2 c; "
    "void main() { c = t; gl_Position = vec4(p, 0.0, 1.0); }";
constexpr char kFragment[] =
    "precision highp float; layout (location = 2) uniform float red; "
    "layout (location = 3) uniform sampler2D pixels; in vec2 c; out vec4 colour; "
    "void main() { colour = vec4(red, texture(pixels, c).gb, 1.0); }";

class GlHelper : public GlTest {
protected:
    GlHelper() { EXPECT_EQ(mHelper->initialize(), OK); }
    ~GlHelper() override { mHelper->release(); }

    // The u, v pairs of the four vertices of the bound quad.
    static std::array<float, 8> textureCoordinates() {
        std::array<float, 16> vertices{};
        const void* mapped =
            glMapBufferRange(GL_ARRAY_BUFFER, 0, sizeof(vertices), GL_MAP_READ_BIT);
        if (mapped != nullptr) memcpy(vertices.data(), mapped, sizeof(vertices));
        glUnmapBuffer(GL_ARRAY_BUFFER);
        return {vertices[2],  vertices[3],  vertices[6],  vertices[7],
                vertices[10], vertices[11], vertices[14], vertices[15]};
    }

    const sp<OpenGLHelper> mHelper = new OpenGLHelper();
};

TEST_F(GlHelper, ReleasesNothingTwiceOrWithoutADisplay) {
    const sp<OpenGLHelper> idle = new OpenGLHelper();
    idle->release();
    host::failGles(host::GlesFault::Display, 1);
    EXPECT_EQ(idle->initialize(), UNKNOWN_ERROR);
    idle->release();
    mHelper->release();
    mHelper->release();
    EXPECT_EQ(host::glesCounts(), host::GlesCounts());
    EXPECT_EQ(mHelper->initialize(), OK);
    EXPECT_EQ(mHelper->initialize(), OK) << "the first context goes";
    EXPECT_EQ(host::glesCounts().contexts, 1);
}

TEST_F(GlHelper, WritesTheVersionOfTheContextAboveTheSource) {
    GLint major = 0;
    GLint minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    const std::string check = "#if __VERSION__ != " + std::to_string(100 * major + 10 * minor) +
                              "\n#error another version\n#endif\n";
    unsigned int program = 0;
    EXPECT_EQ(mHelper->createProgram(program, check + kVertex, check + kFragment), OK);
    EXPECT_NE(program, 0u);
    mHelper->deleteProgram(program);
}

TEST_F(GlHelper, LeavesNothingOfAProgramThatFails) {
    struct {
        const char* vertex;
        const char* fragment;
        const char* text;
    } const kCases[] = {
        {"void main() { nonsense }", kFragment, "VertexShader compilation failed :\n"},
        {kVertex, "void main() { nonsense }", "FragmentShader compilation failed :\n"},
        {kVertex,
         "precision highp float; in vec3 missing; out vec4 f; "
         "void main() { f = vec4(missing, 1.0); }",
         "Shaders linking failed :\n"},
    };
    const host::GlesCounts before = host::glesCounts();
    for (const auto& c : kCases) {
        unsigned int program = 77;
        EXPECT_EQ(mHelper->createProgram(program, c.vertex, c.fragment), UNKNOWN_ERROR) << c.text;
        EXPECT_EQ(program, 0u);
        EXPECT_TRUE(hasError(kTag, c.text)) << c.text;
        EXPECT_EQ(host::glesCounts(), before) << c.text;
    }
    for (const LogCapture::Line& line : mLog.lines()) {
        EXPECT_GT(line.text.size(), line.text.find('\n') + 1) << "the compiler's words are missing";
    }
}

TEST_F(GlHelper, CutsTheQuadToTheCrop) {
    struct {
        Rect crop;
        std::array<float, 4> edges;  // left, top, right, bottom
    } const kCases[] = {
        {{10, 5, 30, 15}, {0.25f, 0.25f, 0.75f, 0.75f}},
        {{0, 0, 40, 20}, {0, 0, 1, 1}},
        {{-40, 0, 80, 20}, {-1, 0, 2, 1}},
    };
    mHelper->genVertexArrays();
    EXPECT_EQ(textureCoordinates(), (std::array<float, 8>{1, 1, 1, 0, 0, 0, 0, 1}));
    for (const auto& c : kCases) {
        const auto [left, top, right, bottom] = c.edges;
        mHelper->setCrop(c.crop, 40, 20);
        const GLuint quad = mHelper->genVertexArrays();
        EXPECT_EQ(textureCoordinates(),
                  (std::array<float, 8>{right, bottom, right, top, left, top, left, bottom}));
        mHelper->deleteVertexArrays(quad);
    }
    mHelper->setCrop(Rect(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX), 40, 20);
    mHelper->deleteVertexArrays(mHelper->genVertexArrays());
}

TEST_F(GlHelper, DeletesTheBuffersOfAQuadWithIt) {
    const GLuint first = mHelper->genVertexArrays();
    const GLuint second = mHelper->genVertexArrays();
    EXPECT_EQ(host::glesCounts().buffers, 4);
    mHelper->deleteVertexArrays(first);
    EXPECT_EQ(host::glesCounts().buffers, 2);
    mHelper->bindVertexArrays(first);
    EXPECT_TRUE(hasError(kTag, "useVertexArrays wrong VAO (" + std::to_string(first) + ")"));
    GLint bound = 0;
    glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
    EXPECT_EQ(bound, static_cast<GLint>(second));
    mHelper->deleteVertexArrays(second);
    mHelper->deleteVertexArrays(second);
    EXPECT_EQ(host::glesCounts().buffers, 0);
}

TEST_F(GlHelper, RefusesImageDataThatItCannotUpload) {
    const AndroidBitmapInfo info = {2, 2, 8, ANDROID_BITMAP_FORMAT_A_8, 0};
    EXPECT_EQ(mHelper->genTextureFromImageData(nullptr, info), 0x501u);
    EXPECT_TRUE(hasError(kTag, "genTextureFromImageData buffer is nullptr"));
    const GLuint texture = mHelper->genTextureFromImageData("12345678", info);
    EXPECT_NE(texture, 0u);
    EXPECT_TRUE(hasError(kTag, "unsupported format (8)"));
    mHelper->deleteTexture(texture);
    EXPECT_EQ(mHelper->genTextureFromGraphicBuffer(nullptr, true), nullptr);
}

TEST_F(GlHelper, DrawsImageDataIntoAGraphicsBuffer) {
    unsigned int program = 0;
    ASSERT_EQ(mHelper->createProgram(program, kVertex, kFragment), OK);
    const GLuint quad = mHelper->genVertexArrays();
    const GLuint framebuffer = mHelper->genFrameBuffer();
    const auto output = rgbaFrame(2, 2);
    const auto target = mHelper->genTextureFromGraphicBuffer(output->getGraphicBuffer(), false);
    ASSERT_NE(target, nullptr);

    constexpr std::array<uint8_t, 16> kPixels = {0, 1, 2, 0, 0, 3, 4, 0, 0, 5, 6, 0, 0, 7, 8, 0};
    constexpr std::array<uint16_t, 4> kGreen = {63 << 5, 63 << 5, 63 << 5, 63 << 5};
    const GLuint rgba = mHelper->genTextureFromImageData(
        kPixels.data(), {2, 2, 8, ANDROID_BITMAP_FORMAT_RGBA_8888, 0});
    const GLuint rgb565 = mHelper->genTextureFromImageData(
        kGreen.data(), {2, 2, 4, ANDROID_BITMAP_FORMAT_RGB_565, 0});

    mHelper->attachFrameBufferTexture(GL_COLOR_ATTACHMENT0, target->texture);
    mHelper->setViewPort(0, 0, 2, 2);
    mHelper->useProgram(program);
    mHelper->setUniform("red", 0.2f);
    mHelper->setUniform("pixels", 1);
    mHelper->bindVertexArrays(quad);
    mHelper->bindTexture(rgba, GL_TEXTURE1, false);
    mHelper->draw();
    EXPECT_EQ(rgbaAt(output, 0, 0), (Rgba{51, 1, 2, 255}));
    EXPECT_EQ(rgbaAt(output, 1, 0), (Rgba{51, 3, 4, 255}));
    EXPECT_EQ(rgbaAt(output, 0, 1), (Rgba{51, 5, 6, 255})) << "rows keep their order";
    mHelper->bindTexture(rgb565, 0, false);
    mHelper->draw();
    EXPECT_EQ(rgbaAt(output, 1, 1), (Rgba{51, 255, 0, 255}));

    mHelper->bindFrameBuffer(0);
    mHelper->deleteTexture(rgba);
    mHelper->deleteTexture(rgb565);
    mHelper->deleteFrameBuffer(framebuffer);
    mHelper->deleteVertexArrays(quad);
    mHelper->deleteProgram(program);
}

}  // namespace
}  // namespace android
