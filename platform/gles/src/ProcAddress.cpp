// eglGetProcAddress: extension functions by name.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "Entry.h"

extern "C" {
EGLImageKHR __wrap_eglCreateImageKHR(EGLDisplay, EGLContext, EGLenum, EGLClientBuffer,
                                     const EGLint*);
EGLBoolean __wrap_eglDestroyImageKHR(EGLDisplay, EGLImageKHR);
EGLSyncKHR __wrap_eglCreateSyncKHR(EGLDisplay, EGLenum, const EGLint*);
EGLBoolean __wrap_eglDestroySyncKHR(EGLDisplay, EGLSyncKHR);
EGLint __wrap_eglClientWaitSyncKHR(EGLDisplay, EGLSyncKHR, EGLint, EGLTimeKHR);
void __wrap_glEGLImageTargetTexture2DOES(GLenum, GLeglImageOES);
}

PLEXA_GLES_ENTRY __eglMustCastToProperFunctionPointerType
__wrap_eglGetProcAddress(const char* name) {
    using Function = __eglMustCastToProperFunctionPointerType;
    static const std::pair<std::string_view, Function> kOwn[] = {
        {"eglCreateImageKHR", reinterpret_cast<Function>(__wrap_eglCreateImageKHR)},
        {"eglDestroyImageKHR", reinterpret_cast<Function>(__wrap_eglDestroyImageKHR)},
        {"eglCreateSyncKHR", reinterpret_cast<Function>(__wrap_eglCreateSyncKHR)},
        {"eglDestroySyncKHR", reinterpret_cast<Function>(__wrap_eglDestroySyncKHR)},
        {"eglClientWaitSyncKHR", reinterpret_cast<Function>(__wrap_eglClientWaitSyncKHR)},
        {"glEGLImageTargetTexture2DOES",
         reinterpret_cast<Function>(__wrap_glEGLImageTargetTexture2DOES)},
    };
    const auto* own = std::ranges::find(kOwn, name, [](const auto& entry) { return entry.first; });
    return own != std::end(kOwn) ? own->second : eglGetProcAddress(name);
}
