// TexturePool: making, keeping and dropping textures.
#include "TexturePool.h"

#include <algorithm>
#include <cstddef>

namespace android::host {
namespace {

// Luma, chroma and target of one size and of the next, and a frame of another format.
constexpr size_t kMostFree = 8;

}  // namespace

Storage TexturePool::acquire(GLenum internalFormat, GLsizei width, GLsizei height) {
    Storage storage{.name = 0, .internalFormat = internalFormat, .width = width, .height = height};
    const auto found = std::ranges::find_if(
        mFree, [&storage](const Storage& other) { return other.isSameKind(storage); });
    if (found != mFree.end()) {
        storage = *found;
        mFree.erase(found);
        return storage;
    }
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glGenTextures(1, &storage.name);
    glBindTexture(GL_TEXTURE_2D, storage.name);
    glTexStorage2D(GL_TEXTURE_2D, 1, internalFormat, width, height);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(bound));
    return storage;
}

void TexturePool::giveBack(const Storage& storage) {
    if (storage.name == 0) return;
    mFree.push_front(storage);
    if (mFree.size() <= kMostFree) return;
    glDeleteTextures(1, &mFree.back().name);
    mFree.pop_back();
}

}  // namespace android::host
