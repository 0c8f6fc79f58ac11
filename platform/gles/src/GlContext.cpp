// GlContext: uploads and write-backs.
#define LOG_TAG "PlexaGles"

#include "GlContext.h"

#include <GLES2/gl2ext.h>
#include <host/GraphicBufferPixels.h>
#include <log/log.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "Faults.h"

namespace android::host {
namespace {

struct Contexts {
    Mutex lock;
    std::map<EGLContext, std::unique_ptr<GlContext>> map GUARDED_BY(lock);
};

Contexts& contexts() {
    // Never destroyed: a static object of the program may let go of its context last of all.
    static Contexts& all = *new Contexts();
    return all;
}

GLint integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

bool hasExtension(std::string_view extension) {
    const GLint count = integer(GL_NUM_EXTENSIONS);
    for (GLint i = 0; i < count; ++i) {
        const auto* name = glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i));
        if (reinterpret_cast<const char*>(name) == extension) return true;
    }
    return false;
}

// How a texture is filtered and wrapped.
class Sampling {
public:
    static Sampling of(GLenum target) {
        Sampling sampling;
        for (size_t i = 0; i < kNames.size(); ++i) {
            glGetTexParameteriv(target, kNames[i], &sampling.mValues[i]);
        }
        return sampling;
    }
    void apply() const {
        for (size_t i = 0; i < kNames.size(); ++i) {
            glTexParameteri(GL_TEXTURE_2D, kNames[i], mValues[i]);
        }
    }

private:
    static constexpr std::array<GLenum, 4> kNames = {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER,
                                                     GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T};
    std::array<GLint, 4> mValues{};
};

Rect intersection(const Rect& a, const Rect& b) {
    const Rect both = {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                       std::min(a.bottom, b.bottom)};
    return both.left < both.right && both.top < both.bottom ? both : Rect();
}

Rect hull(const Rect& a, const Rect& b) {
    if (a.isEmpty()) return b;
    if (b.isEmpty()) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
}

// A state that GL keeps as x, y, width, height.
Rect rectOf(GLenum name) {
    std::array<GLint, 4> box{};
    glGetIntegerv(name, box.data());
    return {box[0], box[1], box[0] + box[2], box[1] + box[3]};
}

// The 2D texture that a draw goes into, 0 for none.
GLint drawTarget() {
    if (integer(GL_DRAW_FRAMEBUFFER_BINDING) == 0) return 0;
    GLint value = 0;
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                          GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &value);
    if (value != GL_TEXTURE) return 0;
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                          GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME, &value);
    return value;
}

bool isYuv(const GraphicBuffer& buffer) {
    return buffer.getPixelFormat() != PIXEL_FORMAT_RGBA_8888;
}

}  // namespace

GlContext* GlContext::current() {
    const EGLContext context = eglGetCurrentContext();
    if (context == EGL_NO_CONTEXT) return nullptr;
    Contexts& all = contexts();
    const Mutex::Autolock lock(all.lock);
    std::unique_ptr<GlContext>& state = all.map[context];
    if (state == nullptr) state = std::make_unique<GlContext>();
    return state.get();
}

void GlContext::forget(EGLContext context) {
    Contexts& all = contexts();
    const Mutex::Autolock lock(all.lock);
    all.map.erase(context);
}

GlContext::GlContext() : mHasSixteenBitTextures(hasExtension("GL_EXT_texture_norm16")) {}

ImageTexture* GlContext::findImage(GLint texture) {
    const auto found = mImages.find(static_cast<GLuint>(texture));
    return found != mImages.end() ? &found->second : nullptr;
}

bool GlContext::setImage(GLenum target, const sp<GraphicBuffer>& buffer) {
    const bool isExternal = target == GL_TEXTURE_EXTERNAL_OES;
    if (!isExternal && (target != GL_TEXTURE_2D || isYuv(*buffer))) return false;
    const GLint bound =
        integer(isExternal ? GL_TEXTURE_BINDING_EXTERNAL_OES : GL_TEXTURE_BINDING_2D);
    if (bound == 0) return false;

    ImageTexture& image = mImages[static_cast<GLuint>(bound)];
    release(image);
    image.buffer = buffer;
    image.target = target;
    return true;
}

void GlContext::release(ImageTexture& image) {
    // The GPU ends what was submitted, whether or not anybody waits for it.
    writeBack(image);
    mPool.giveBack(image.luma);
    mPool.giveBack(image.chroma);
    image = ImageTexture();
}

void GlContext::deleteTextures(std::span<const GLuint> textures) {
    for (const GLuint texture : textures) {
        const auto found = mImages.find(texture);
        if (found == mImages.end()) continue;
        release(found->second);
        mImages.erase(found);
    }
}

GLuint GlContext::targetOf(GLuint texture) {
    ImageTexture* image = findImage(static_cast<GLint>(texture));
    if (image == nullptr || image->target != GL_TEXTURE_2D) return texture;
    if (image->luma.name == 0) {
        image->luma = mPool.acquire(GL_RGBA8, image->buffer->width, image->buffer->height);
    }
    return image->luma.name;
}

void GlContext::uploadSampled(TextureUnitScope& units) {
    const auto program = static_cast<GLuint>(integer(GL_CURRENT_PROGRAM));
    const std::span<const Sampler> samplers = mPrograms.samplersOf(program);
    if (samplers.empty()) return;
    // A draw sees what the draws before it left in the same buffer.
    finish();
    for (const Sampler& sampler : samplers) {
        upload(units, sampler, program);
    }
}

void GlContext::upload(TextureUnitScope& units, const Sampler& sampler, GLuint program) {
    GLint unit = 0;
    if (sampler.luma >= 0) glGetUniformiv(program, sampler.luma, &unit);
    units.activate(unit);
    const GLenum target = sampler.isYuv ? GL_TEXTURE_EXTERNAL_OES : GL_TEXTURE_2D;
    ImageTexture* image =
        findImage(integer(sampler.isYuv ? GL_TEXTURE_BINDING_EXTERNAL_OES : GL_TEXTURE_BINDING_2D));
    if (image == nullptr && !sampler.isYuv) return;
    ALOGE_IF(image == nullptr, "a raw YUV sampler has no image to sample");

    const std::optional<Planes> planes =
        image != nullptr ? planesFor(*image, sampler.isYuv) : std::nullopt;
    if (image == nullptr || !planes) {
        units.bind(unit, 0);
        if (sampler.isYuv) units.bind(sampler.chromaUnit, 0);
        return;
    }
    const Sampling sampling = Sampling::of(target);
    uploadPlane(units, unit, image->luma, planes->luma);
    sampling.apply();
    if (!sampler.isYuv) return;
    uploadPlane(units, sampler.chromaUnit, image->chroma, *planes->chroma);
    sampling.apply();
}

std::optional<Planes> GlContext::planesFor(const ImageTexture& image, bool isYuvSampler) {
    const bool hasSixteenBits = mHasSixteenBitTextures && !isFaultDue(GlesFault::SixteenBitTexture);
    std::optional<Planes> planes = mReader.read(image.buffer, hasSixteenBits);
    if (planes && isYuvSampler && !planes->chroma) {
        ALOGE("a raw YUV sampler cannot sample an RGBA buffer");
        return std::nullopt;
    }
    return planes;
}

void GlContext::uploadPlane(TextureUnitScope& units, GLint unit, Storage& storage,
                            const Plane& plane) {
    const Storage wanted{.name = 0,
                         .internalFormat = plane.internalFormat,
                         .width = plane.width,
                         .height = plane.height};
    if (storage.name == 0 || !storage.isSameKind(wanted)) {
        mPool.giveBack(storage);
        storage = mPool.acquire(plane.internalFormat, plane.width, plane.height);
    }
    units.bind(unit, storage.name);
    const PixelStoreScope rows(PixelStoreScope::Direction::Unpack, plane.rowTexels);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, plane.width, plane.height, plane.format, plane.type,
                    plane.data);
}

void GlContext::noteDrawn() {
    const GLint target = drawTarget();
    if (target == 0) return;
    const auto found = std::ranges::find_if(mImages, [target](const auto& entry) {
        return entry.second.luma.name == static_cast<GLuint>(target);
    });
    if (found == mImages.end()) return;
    ImageTexture& image = found->second;
    Rect drawn = intersection(rectOf(GL_VIEWPORT), image.buffer->getBounds());
    if (glIsEnabled(GL_SCISSOR_TEST)) drawn = intersection(drawn, rectOf(GL_SCISSOR_BOX));
    image.drawn = hull(image.drawn, drawn);
}

void GlContext::finish() {
    for (auto& [texture, image] : mImages) {
        writeBack(image);
    }
}

void GlContext::writeBack(ImageTexture& image) {
    if (image.drawn.isEmpty()) return;
    const Rect drawn = image.drawn;
    image.drawn = Rect();
    const std::optional<GraphicBufferPixels> pixels = pixelsOf(*image.buffer);
    if (!pixels) return;

    if (mReadFrameBuffer == 0) glGenFramebuffers(1, &mReadFrameBuffer);
    const ReadFrameBufferScope framebuffer(mReadFrameBuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                           image.luma.name, 0);
    const BufferLayout& layout = pixels->layout;
    const PixelStoreScope rows(PixelStoreScope::Direction::Pack,
                               static_cast<GLsizei>(layout.stridePixels));
    uint8_t* first = pixels->base + layout.y.offset + layout.y.stride * drawn.top +
                     size_t{layout.bytesPerSample} * drawn.left;
    glReadPixels(drawn.left, drawn.top, drawn.getWidth(), drawn.getHeight(), GL_RGBA,
                 GL_UNSIGNED_BYTE, first);
}

}  // namespace android::host
