// LiveObjects: what callers made and have not deleted yet.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>
#include <utils/Mutex.h>

#include <array>
#include <cstddef>
#include <map>
#include <set>
#include <span>

#include "host/GlesCounts.h"

namespace android::host {

enum class GlObject { Texture, Buffer, VertexArray, FrameBuffer, Shader, Program, kCount };

// Contexts with the names they hold, and fences. A destroyed context takes its names along. GL
// calls count for the context that is current on the calling thread, without one they are skipped.
// Threading: thread-safe.
class LiveObjects {
public:
    static LiveObjects& get();

    void addContext(EGLContext context);
    void removeContext(EGLContext context);
    void addSync(EGLSyncKHR sync);
    void removeSync(EGLSyncKHR sync);
    void add(GlObject kind, std::span<const GLuint> names);
    void remove(GlObject kind, std::span<const GLuint> names);

    // Without the images, which are counted where they live.
    GlesCounts counts() const;

private:
    using Names = std::array<std::set<GLuint>, static_cast<size_t>(GlObject::kCount)>;

    std::set<GLuint>* namesOfCurrent(GlObject kind) REQUIRES(mLock);

    mutable Mutex mLock;
    std::map<EGLContext, Names> mContexts GUARDED_BY(mLock);
    std::set<EGLSyncKHR> mSyncs GUARDED_BY(mLock);
};

}  // namespace android::host
