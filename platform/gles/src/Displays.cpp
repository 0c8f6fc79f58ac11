// Displays: choice and reference counts.
#include "Displays.h"

#include <EGL/eglext.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace android::host {
namespace {

bool hasSurfacelessPlatform() {
    const char* extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    return extensions != nullptr &&
           std::string_view(extensions).find("EGL_MESA_platform_surfaceless") !=
               std::string_view::npos;
}

}  // namespace

Displays& Displays::get() {
    // Never destroyed: a static object of the program may let go of its display last of all.
    static Displays& displays = *new Displays();
    return displays;
}

EGLDisplay Displays::open(EGLNativeDisplayType native) {
    // The host's EGL makes a display when it is first asked for.
    const Mutex::Autolock lock(mLock);
    const bool isChosen = getenv("EGL_PLATFORM") != nullptr;
    if (native == EGL_DEFAULT_DISPLAY && !isChosen && hasSurfacelessPlatform()) {
        return eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    }
    return eglGetDisplay(native);
}

EGLBoolean Displays::initialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    const Mutex::Autolock lock(mLock);
    const EGLBoolean done = eglInitialize(display, major, minor);
    if (done == EGL_TRUE) ++mUsers[display];
    return done;
}

EGLBoolean Displays::terminate(EGLDisplay display) {
    const Mutex::Autolock lock(mLock);
    const auto users = mUsers.find(display);
    // Never initialised, or no display at all: the host knows the error.
    if (users == mUsers.end()) return eglTerminate(display);
    users->second = std::max(users->second - 1, 0);
    return EGL_TRUE;
}

bool Displays::isInitialized(EGLDisplay display) const {
    const Mutex::Autolock lock(mLock);
    const auto users = mUsers.find(display);
    return users != mUsers.end() && users->second > 0;
}

}  // namespace android::host
