// Changing contexts, and changing back.
#define LOG_TAG "APipeGLConverter"

#include "APipeGLScope.h"

#include <utils/Log.h>

namespace android {

namespace {

bool makeCurrent(EGLDisplay display, const APipeGLScope::Binding& binding) {
    if (eglMakeCurrent(display, binding.draw, binding.read, binding.context) == EGL_TRUE) {
        return true;
    }
    const EGLint error = eglGetError();
    ALOGE("eglMakeCurrent failed: %#x", error);
    return false;
}

}  // namespace

APipeGLScope::Binding APipeGLScope::ofThread() {
    return {eglGetCurrentDisplay(), eglGetCurrentSurface(EGL_DRAW), eglGetCurrentSurface(EGL_READ),
            eglGetCurrentContext()};
}

APipeGLScope::APipeGLScope(const Binding& own)
    : mOwn(own),
      mBefore(ofThread()),
      mIsCurrent(own.context != EGL_NO_CONTEXT &&
                 (own.context == mBefore.context || makeCurrent(own.display, own))) {}

APipeGLScope::~APipeGLScope() {
    if (mBefore.context == mOwn.context || mBefore.context == eglGetCurrentContext()) return;
    const bool wasNone = mBefore.context == EGL_NO_CONTEXT;
    makeCurrent(wasNone ? mOwn.display : mBefore.display, mBefore);
}

}  // namespace android
