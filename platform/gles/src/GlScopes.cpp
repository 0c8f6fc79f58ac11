// GlScopes: saving and restoring.
#include "GlScopes.h"

#include <cstddef>

namespace android::host {

struct PixelStoreScope::Names {
    std::array<GLenum, 4> stores;  // alignment, row length, skipped rows, skipped pixels
    GLenum bufferTarget;
    GLenum bufferBinding;
};

const PixelStoreScope::Names& PixelStoreScope::namesOf(Direction direction) {
    static constexpr Names kPack = {
        {GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS},
        GL_PIXEL_PACK_BUFFER,
        GL_PIXEL_PACK_BUFFER_BINDING};
    static constexpr Names kUnpack = {
        {GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS},
        GL_PIXEL_UNPACK_BUFFER,
        GL_PIXEL_UNPACK_BUFFER_BINDING};
    return direction == Direction::Pack ? kPack : kUnpack;
}

PixelStoreScope::PixelStoreScope(Direction direction, GLsizei rowTexels)
    : mNames(namesOf(direction)) {
    const std::array<GLint, 4> wanted = {1, rowTexels, 0, 0};
    for (size_t i = 0; i < wanted.size(); ++i) {
        glGetIntegerv(mNames.stores[i], &mSaved[i]);
        glPixelStorei(mNames.stores[i], wanted[i]);
    }
    glGetIntegerv(mNames.bufferBinding, &mSavedBuffer);
    if (mSavedBuffer != 0) glBindBuffer(mNames.bufferTarget, 0);
}

PixelStoreScope::~PixelStoreScope() {
    for (size_t i = 0; i < mSaved.size(); ++i)
        glPixelStorei(mNames.stores[i], mSaved[i]);
    if (mSavedBuffer != 0) glBindBuffer(mNames.bufferTarget, static_cast<GLuint>(mSavedBuffer));
}

TextureUnitScope::TextureUnitScope() {
    glGetIntegerv(GL_ACTIVE_TEXTURE, &mActive);
}

TextureUnitScope::~TextureUnitScope() {
    for (auto it = mBindings.rbegin(); it != mBindings.rend(); ++it) {
        activate(it->first);
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(it->second));
    }
    glActiveTexture(static_cast<GLenum>(mActive));
}

void TextureUnitScope::activate(GLint unit) {
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(unit));
}

void TextureUnitScope::bind(GLint unit, GLuint texture) {
    activate(unit);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    mBindings.emplace_back(unit, bound);
    glBindTexture(GL_TEXTURE_2D, texture);
}

ReadFrameBufferScope::ReadFrameBufferScope(GLuint framebuffer) {
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &mSaved);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
}

ReadFrameBufferScope::~ReadFrameBufferScope() {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(mSaved));
}

}  // namespace android::host
