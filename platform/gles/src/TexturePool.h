// TexturePool: the host textures that stand for graphics buffers, used again frame after frame.
#pragma once

#include <GLES3/gl32.h>

#include <deque>

namespace android::host {

// A 2D texture of one level.
struct Storage {
    GLuint name = 0;
    GLenum internalFormat = 0;
    GLsizei width = 0;
    GLsizei height = 0;

    bool isSameKind(const Storage& other) const {
        return internalFormat == other.internalFormat && width == other.width &&
               height == other.height;
    }
};

// A device's texture aliases its buffer and costs nothing to make; here a new one costs its
// memory's first touch, about as much as the upload. So a few stay for the next frame. Threading:
// one pool per context, on the thread where that is current. The textures end with it.
class TexturePool {
public:
    // Leaves the 2D binding of the active unit as it was.
    Storage acquire(GLenum internalFormat, GLsizei width, GLsizei height);
    // Takes a storage back; none (name 0) is let pass.
    void giveBack(const Storage& storage);

private:
    // Newest first.
    std::deque<Storage> mFree;
};

}  // namespace android::host
