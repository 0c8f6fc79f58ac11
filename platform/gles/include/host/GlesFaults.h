// Failures of the EGL and OpenGL ES stand-in on demand, for tests.
#pragma once

#include <host/GlesExport.h>

namespace android::host {

enum class GlesFault {
    Display,            // eglGetDisplay: none
    Initialize,         // eglInitialize: refused
    BindApi,            // eglBindAPI: refused
    Config,             // eglChooseConfig: succeeds and finds nothing
    Context,            // eglCreateContext: none
    Surface,            // eglCreatePbufferSurface: none
    MakeCurrent,        // eglMakeCurrent with a context: refused
    ShaderSource,       // glShaderSource: the compiler gets a text with an error
    Link,               // glLinkProgram: the program has lost its shaders
    Image,              // eglCreateImageKHR: none
    FenceCreate,        // eglCreateSyncKHR: none
    FenceTimeout,       // eglClientWaitSyncKHR: time is up, at once
    FenceError,         // eglClientWaitSyncKHR: fails
    SixteenBitTexture,  // GL_EXT_texture_norm16 is not there for the next 10-bit frame
    kCount,
};

/// Makes the countdown-th such operation from now fail, once, whichever thread comes to it; 1 is
/// the next one, 0 takes an earlier order back. Threading: thread-safe.
PLEXA_GLES_EXPORT void failGles(GlesFault fault, int countdown);

/// Takes every order back. Threading: thread-safe.
PLEXA_GLES_EXPORT void clearGlesFaults();

}  // namespace android::host
