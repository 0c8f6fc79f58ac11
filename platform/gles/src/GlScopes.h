// GlScopes: GL state that is changed for a while and then put back, so that callers never notice.
#pragma once

#include <GLES3/gl32.h>

#include <array>
#include <utility>
#include <vector>

namespace android::host {

// How glTexSubImage2D or glReadPixels finds rows in memory: tightly, rowTexels apart.
// Threading: as the current context.
class PixelStoreScope {
public:
    enum class Direction { Pack, Unpack };

    PixelStoreScope(Direction direction, GLsizei rowTexels);
    ~PixelStoreScope();
    PixelStoreScope(const PixelStoreScope&) = delete;
    PixelStoreScope& operator=(const PixelStoreScope&) = delete;

private:
    struct Names;
    static const Names& namesOf(Direction direction);

    const Names& mNames;
    std::array<GLint, 4> mSaved{};
    GLint mSavedBuffer = 0;
};

// 2D textures on some units.
// Threading: as the current context.
class TextureUnitScope {
public:
    TextureUnitScope();
    ~TextureUnitScope();
    TextureUnitScope(const TextureUnitScope&) = delete;
    TextureUnitScope& operator=(const TextureUnitScope&) = delete;

    // Units are indices.
    void activate(GLint unit);
    // Makes the unit active and binds the texture to its 2D target.
    void bind(GLint unit, GLuint texture);

private:
    GLint mActive = 0;
    std::vector<std::pair<GLint, GLint>> mBindings;
};

// The frame buffer that glReadPixels reads.
// Threading: as the current context.
class ReadFrameBufferScope {
public:
    explicit ReadFrameBufferScope(GLuint framebuffer);
    ~ReadFrameBufferScope();
    ReadFrameBufferScope(const ReadFrameBufferScope&) = delete;
    ReadFrameBufferScope& operator=(const ReadFrameBufferScope&) = delete;

private:
    GLint mSaved = 0;
};

}  // namespace android::host
