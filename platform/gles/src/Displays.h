// Displays: which display stands for the default one, and who still uses it.
#pragma once

#include <EGL/egl.h>
#include <utils/Mutex.h>

#include <map>

namespace android::host {

// On a device every eglInitialize takes a reference that one eglTerminate gives back; the host's
// EGL ends a display at the first eglTerminate, for everyone in the process. Threading:
// thread-safe.
class Displays {
public:
    static Displays& get();

    // EGL_DEFAULT_DISPLAY without any display server: the surfaceless platform where the host has
    // it. EGL_PLATFORM in the environment leaves the choice to the host's EGL.
    EGLDisplay open(EGLNativeDisplayType native);
    EGLBoolean initialize(EGLDisplay display, EGLint* major, EGLint* minor);
    EGLBoolean terminate(EGLDisplay display);
    bool isInitialized(EGLDisplay display) const;

private:
    mutable Mutex mLock;
    std::map<EGLDisplay, int> mUsers GUARDED_BY(mLock);
};

}  // namespace android::host
