// GlContext: what a context of the host needs besides to pass for a device's.
#pragma once

#include <EGL/egl.h>
#include <GLES3/gl32.h>
#include <ui/GraphicBuffer.h>
#include <ui/Rect.h>
#include <utils/StrongPointer.h>

#include <map>
#include <optional>
#include <span>

#include "GlScopes.h"
#include "Planes.h"
#include "Programs.h"
#include "TexturePool.h"

namespace android::host {

// A texture name of the caller's that aliases a graphics buffer. Its pixels live in host textures
// of the pool: the planes while it is sampled, the one it is drawn into while it is a target.
struct ImageTexture {
    sp<GraphicBuffer> buffer;
    GLenum target = 0;
    Storage luma;
    Storage chroma;
    Rect drawn;  // what the buffer does not have yet
};

// Aliasing is imitated by copies at the moments when a difference could be seen: before a draw what
// it samples is uploaded, and what it drew is written back when a fence tells that it is done.
// Threading: not thread-safe; belongs to the thread where the context is current.
class GlContext {
public:
    // Of the context that is current on this thread, null without one. Made at the first call.
    static GlContext* current();
    // Before a context is destroyed.
    static void forget(EGLContext context);

    GlContext();
    GlContext(const GlContext&) = delete;
    GlContext& operator=(const GlContext&) = delete;

    Programs& programs() { return mPrograms; }
    // Lets the texture that is bound to the target alias the buffer. False when a device would
    // refuse: no texture, or YUV on a target for rendering.
    bool setImage(GLenum target, const sp<GraphicBuffer>& buffer);
    void deleteTextures(std::span<const GLuint> textures);
    // The texture to attach to a frame buffer when the caller names this one.
    GLuint targetOf(GLuint texture);

    // To be called before each draw, with a scope that ends after it, and after it.
    void uploadSampled(TextureUnitScope& units);
    void noteDrawn();
    // Writes everything drawn so far into its buffers.
    void finish();

private:
    ImageTexture* findImage(GLint texture);
    void release(ImageTexture& image);
    void upload(TextureUnitScope& units, const Sampler& sampler, GLuint program);
    std::optional<Planes> planesFor(const ImageTexture& image, bool isYuvSampler);
    void uploadPlane(TextureUnitScope& units, GLint unit, Storage& storage, const Plane& plane);
    void writeBack(ImageTexture& image);

    std::map<GLuint, ImageTexture> mImages;
    Programs mPrograms;
    TexturePool mPool;
    PlaneReader mReader;
    GLuint mReadFrameBuffer = 0;
    bool mHasSixteenBitTextures = false;
};

}  // namespace android::host
