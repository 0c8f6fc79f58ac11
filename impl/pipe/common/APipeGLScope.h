// A context that is current for the length of a block.
#pragma once

#include <EGL/egl.h>

namespace android {

/// Makes a context current on this thread, unless it is, and gives the one before back at its end,
/// so that the users of several contexts on one thread need not know of each other.
///
/// The context may go meanwhile: then the one before comes back if it was another.
///
/// For the sources of this library only: it is not exported.
///
/// Threading: loop-bound to the thread of the block.
class APipeGLScope {
public:
    /// What EGL has current on a thread; nothing by default.
    struct Binding {
        EGLDisplay display = EGL_NO_DISPLAY;
        EGLSurface draw = EGL_NO_SURFACE;
        EGLSurface read = EGL_NO_SURFACE;
        EGLContext context = EGL_NO_CONTEXT;
    };

    /// What is current on this thread.
    static Binding ofThread();

    explicit APipeGLScope(const Binding& own);
    /// Logs an error when the context before cannot be made current again.
    ~APipeGLScope();

    APipeGLScope(const APipeGLScope&) = delete;
    APipeGLScope& operator=(const APipeGLScope&) = delete;

    /// False, after an error log, when the context could not be made current, and for no context.
    bool isCurrent() const { return mIsCurrent; }

private:
    const Binding mOwn;
    const Binding mBefore;
    bool mIsCurrent;
};

}  // namespace android
