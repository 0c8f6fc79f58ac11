// The OpenGL ES functions in front of the host's.
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
#include <GLES3/gl32.h>

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <utility>

#include "Entry.h"
#include "Faults.h"
#include "GlContext.h"
#include "HostExtensions.h"
#include "LiveObjects.h"
#include "NativeImages.h"
#include "YuvShader.h"

namespace android::host {
namespace {

// Empty for a count that GL refuses.
std::span<const GLuint> namesIn(GLsizei count, const GLuint* names) {
    return {names, count > 0 ? static_cast<size_t>(count) : 0};
}

void generate(decltype(&glGenTextures) make, GlObject kind, GLsizei count, GLuint* names) {
    make(count, names);
    LiveObjects::get().add(kind, namesIn(count, names));
}

void erase(decltype(&glDeleteTextures) drop, GlObject kind, GLsizei count, const GLuint* names) {
    drop(count, names);
    LiveObjects::get().remove(kind, namesIn(count, names));
}

GLuint created(GlObject kind, GLuint name) {
    LiveObjects::get().add(kind, {&name, 1});
    return name;
}

std::string joined(GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    std::string text;
    for (GLsizei i = 0; i < count; ++i) {
        if (lengths != nullptr && lengths[i] >= 0) {
            text.append(strings[i], static_cast<size_t>(lengths[i]));
        } else {
            text.append(strings[i]);
        }
    }
    return text;
}

void detachShaders(GLuint program) {
    std::array<GLuint, 2> shaders{};
    GLsizei count = 0;
    glGetAttachedShaders(program, shaders.size(), &count, shaders.data());
    for (const GLuint shader : std::span(shaders).first(static_cast<size_t>(count)))
        glDetachShader(program, shader);
}

}  // namespace
}  // namespace android::host

using namespace android::host;

PLEXA_GLES_ENTRY void __wrap_glGenTextures(GLsizei count, GLuint* names) {
    generate(glGenTextures, GlObject::Texture, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glDeleteTextures(GLsizei count, const GLuint* names) {
    if (GlContext* context = GlContext::current()) context->deleteTextures(namesIn(count, names));
    erase(glDeleteTextures, GlObject::Texture, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glGenBuffers(GLsizei count, GLuint* names) {
    generate(glGenBuffers, GlObject::Buffer, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glDeleteBuffers(GLsizei count, const GLuint* names) {
    erase(glDeleteBuffers, GlObject::Buffer, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glGenVertexArrays(GLsizei count, GLuint* names) {
    generate(glGenVertexArrays, GlObject::VertexArray, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glDeleteVertexArrays(GLsizei count, const GLuint* names) {
    erase(glDeleteVertexArrays, GlObject::VertexArray, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glGenFramebuffers(GLsizei count, GLuint* names) {
    generate(glGenFramebuffers, GlObject::FrameBuffer, count, names);
}

PLEXA_GLES_ENTRY void __wrap_glDeleteFramebuffers(GLsizei count, const GLuint* names) {
    erase(glDeleteFramebuffers, GlObject::FrameBuffer, count, names);
}

PLEXA_GLES_ENTRY GLuint __wrap_glCreateShader(GLenum type) {
    return created(GlObject::Shader, glCreateShader(type));
}

PLEXA_GLES_ENTRY void __wrap_glDeleteShader(GLuint shader) {
    glDeleteShader(shader);
    LiveObjects::get().remove(GlObject::Shader, {&shader, 1});
}

PLEXA_GLES_ENTRY GLuint __wrap_glCreateProgram() {
    return created(GlObject::Program, glCreateProgram());
}

PLEXA_GLES_ENTRY void __wrap_glDeleteProgram(GLuint program) {
    glDeleteProgram(program);
    LiveObjects::get().remove(GlObject::Program, {&program, 1});
}

PLEXA_GLES_ENTRY void __wrap_glShaderSource(GLuint shader, GLsizei count,
                                            const GLchar* const* strings, const GLint* lengths) {
    HostShader rewritten = rewriteYuvShader(joined(count, strings, lengths));
    if (isFaultDue(GlesFault::ShaderSource)) rewritten.text = "#error as ordered\n";
    const GLchar* source = rewritten.text.c_str();
    glShaderSource(shader, 1, &source, nullptr);
    if (GlContext* context = GlContext::current()) {
        context->programs().setYuvSamplers(shader, std::move(rewritten.yuvSamplers));
    }
}

PLEXA_GLES_ENTRY void __wrap_glLinkProgram(GLuint program) {
    if (isFaultDue(GlesFault::Link)) detachShaders(program);
    glLinkProgram(program);
    if (GlContext* context = GlContext::current()) context->programs().onLinked(program);
}

PLEXA_GLES_ENTRY void __wrap_glEGLImageTargetTexture2DOES(GLenum target, GLeglImageOES image) {
    const android::sp<android::GraphicBuffer> buffer = NativeImages::get().find(image);
    GlContext* context = GlContext::current();
    if (buffer != nullptr && context != nullptr && context->setImage(target, buffer)) return;
    // An image of the host's, or none: then this sets the error that a device would set.
    const auto imageTarget = HostExtensions::get().imageTargetTexture2D;
    if (imageTarget != nullptr) imageTarget(target, buffer == nullptr ? image : nullptr);
}

PLEXA_GLES_ENTRY void __wrap_glFramebufferTexture2D(GLenum target, GLenum attachment,
                                                    GLenum textureTarget, GLuint texture,
                                                    GLint level) {
    if (GlContext* context = GlContext::current()) texture = context->targetOf(texture);
    glFramebufferTexture2D(target, attachment, textureTarget, texture, level);
}

PLEXA_GLES_ENTRY void __wrap_glDrawElements(GLenum mode, GLsizei count, GLenum type,
                                            const void* indices) {
    GlContext* context = GlContext::current();
    if (context == nullptr) return glDrawElements(mode, count, type, indices);
    TextureUnitScope units;
    context->uploadSampled(units);
    glDrawElements(mode, count, type, indices);
    context->noteDrawn();
}
