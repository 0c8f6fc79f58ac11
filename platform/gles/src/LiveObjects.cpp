// LiveObjects: book-keeping and the public counts.
#include "LiveObjects.h"

#include "NativeImages.h"

namespace android::host {

LiveObjects& LiveObjects::get() {
    // Never destroyed: a static object of the program may let go of its context last of all.
    static LiveObjects& objects = *new LiveObjects();
    return objects;
}

void LiveObjects::addContext(EGLContext context) {
    const Mutex::Autolock lock(mLock);
    mContexts[context];
}

void LiveObjects::removeContext(EGLContext context) {
    const Mutex::Autolock lock(mLock);
    mContexts.erase(context);
}

void LiveObjects::addSync(EGLSyncKHR sync) {
    const Mutex::Autolock lock(mLock);
    mSyncs.insert(sync);
}

void LiveObjects::removeSync(EGLSyncKHR sync) {
    const Mutex::Autolock lock(mLock);
    mSyncs.erase(sync);
}

std::set<GLuint>* LiveObjects::namesOfCurrent(GlObject kind) {
    const auto context = mContexts.find(eglGetCurrentContext());
    return context != mContexts.end() ? &context->second[static_cast<size_t>(kind)] : nullptr;
}

void LiveObjects::add(GlObject kind, std::span<const GLuint> names) {
    const Mutex::Autolock lock(mLock);
    std::set<GLuint>* living = namesOfCurrent(kind);
    if (living == nullptr) return;
    for (const GLuint name : names) {
        if (name != 0) living->insert(name);
    }
}

void LiveObjects::remove(GlObject kind, std::span<const GLuint> names) {
    const Mutex::Autolock lock(mLock);
    std::set<GLuint>* living = namesOfCurrent(kind);
    if (living == nullptr) return;
    for (const GLuint name : names)
        living->erase(name);
}

GlesCounts LiveObjects::counts() const {
    const Mutex::Autolock lock(mLock);
    GlesCounts counts;
    counts.contexts = std::ssize(mContexts);
    counts.syncs = std::ssize(mSyncs);
    for (const auto& [context, names] : mContexts) {
        const auto count = [&names = names](GlObject kind) {
            return std::ssize(names[static_cast<size_t>(kind)]);
        };
        counts.textures += count(GlObject::Texture);
        counts.buffers += count(GlObject::Buffer);
        counts.vertexArrays += count(GlObject::VertexArray);
        counts.frameBuffers += count(GlObject::FrameBuffer);
        counts.shaders += count(GlObject::Shader);
        counts.programs += count(GlObject::Program);
    }
    return counts;
}

GlesCounts glesCounts() {
    GlesCounts counts = LiveObjects::get().counts();
    counts.images = NativeImages::get().count();
    return counts;
}

}  // namespace android::host
