// EglErrors: what eglGetError answers for calls that the host's EGL never saw.
#pragma once

#include <EGL/egl.h>

namespace android::host {

// Sets this thread's error; EGL_SUCCESS leaves the answer to the host's EGL.
// Threading: thread-safe.
void setEglError(EGLint error);

// Sets the error and returns `result`, so that a failing call ends in one line.
template <typename T>
T eglFailure(EGLint error, T result) {
    setEglError(error);
    return result;
}

}  // namespace android::host
