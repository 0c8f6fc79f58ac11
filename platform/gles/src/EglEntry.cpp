// The EGL functions in front of the host's.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <host/GraphicBufferPixels.h>
#include <nativebase/nativebase.h>
#include <ui/GraphicBuffer.h>

#include <utility>

#include "Displays.h"
#include "EglErrors.h"
#include "Entry.h"
#include "Faults.h"
#include "GlContext.h"
#include "HostExtensions.h"
#include "LiveObjects.h"
#include "NativeImages.h"

namespace android::host {
namespace {

thread_local EGLint tError = EGL_SUCCESS;

// Null for a handle that is no graphics buffer with memory.
sp<GraphicBuffer> graphicBufferOf(EGLClientBuffer client) {
    auto* native = static_cast<ANativeWindowBuffer*>(client);
    if (native == nullptr || native->common.magic != ANDROID_NATIVE_BUFFER_MAGIC) return nullptr;
    const sp<GraphicBuffer> buffer = GraphicBuffer::from(native);
    return buffer != nullptr && pixelsOf(*buffer) ? buffer : nullptr;
}

}  // namespace

void setEglError(EGLint error) {
    tError = error;
}

}  // namespace android::host

using namespace android::host;

PLEXA_GLES_ENTRY EGLDisplay __wrap_eglGetDisplay(EGLNativeDisplayType native) {
    if (isFaultDue(GlesFault::Display)) return eglFailure(EGL_BAD_ALLOC, EGL_NO_DISPLAY);
    return Displays::get().open(native);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    if (isFaultDue(GlesFault::Initialize)) return eglFailure(EGL_NOT_INITIALIZED, EGL_FALSE);
    return Displays::get().initialize(display, major, minor);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglTerminate(EGLDisplay display) {
    return Displays::get().terminate(display);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglBindAPI(EGLenum api) {
    if (isFaultDue(GlesFault::BindApi)) return eglFailure(EGL_BAD_PARAMETER, EGL_FALSE);
    return eglBindAPI(api);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglChooseConfig(EGLDisplay display, const EGLint* attributes,
                                                   EGLConfig* configs, EGLint size, EGLint* count) {
    if (isFaultDue(GlesFault::Config)) {
        *count = 0;
        return EGL_TRUE;
    }
    return eglChooseConfig(display, attributes, configs, size, count);
}

PLEXA_GLES_ENTRY EGLContext __wrap_eglCreateContext(EGLDisplay display, EGLConfig config,
                                                    EGLContext share, const EGLint* attributes) {
    if (isFaultDue(GlesFault::Context)) return eglFailure(EGL_BAD_ALLOC, EGL_NO_CONTEXT);
    const EGLContext context = eglCreateContext(display, config, share, attributes);
    if (context != EGL_NO_CONTEXT) {
        // The host may give out a handle again.
        GlContext::forget(context);
        LiveObjects::get().addContext(context);
    }
    return context;
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglDestroyContext(EGLDisplay display, EGLContext context) {
    GlContext::forget(context);
    LiveObjects::get().removeContext(context);
    return eglDestroyContext(display, context);
}

PLEXA_GLES_ENTRY EGLSurface __wrap_eglCreatePbufferSurface(EGLDisplay display, EGLConfig config,
                                                           const EGLint* attributes) {
    if (isFaultDue(GlesFault::Surface)) return eglFailure(EGL_BAD_ALLOC, EGL_NO_SURFACE);
    return eglCreatePbufferSurface(display, config, attributes);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglMakeCurrent(EGLDisplay display, EGLSurface draw,
                                                  EGLSurface read, EGLContext context) {
    if (context != EGL_NO_CONTEXT && isFaultDue(GlesFault::MakeCurrent)) {
        return eglFailure(EGL_BAD_ALLOC, EGL_FALSE);
    }
    return eglMakeCurrent(display, draw, read, context);
}

PLEXA_GLES_ENTRY EGLint __wrap_eglGetError() {
    const EGLint error = std::exchange(tError, EGL_SUCCESS);
    return error != EGL_SUCCESS ? error : eglGetError();
}

PLEXA_GLES_ENTRY EGLImageKHR __wrap_eglCreateImageKHR(EGLDisplay display, EGLContext context,
                                                      EGLenum target, EGLClientBuffer client,
                                                      const EGLint* attributes) {
    const HostExtensions& host = HostExtensions::get();
    if (target != EGL_NATIVE_BUFFER_ANDROID) {
        return host.createImage != nullptr
                   ? host.createImage(display, context, target, client, attributes)
                   : eglFailure(EGL_BAD_PARAMETER, EGL_NO_IMAGE_KHR);
    }
    if (!Displays::get().isInitialized(display)) {
        return eglFailure(EGL_NOT_INITIALIZED, EGL_NO_IMAGE_KHR);
    }
    if (context != EGL_NO_CONTEXT) return eglFailure(EGL_BAD_CONTEXT, EGL_NO_IMAGE_KHR);
    if (isFaultDue(GlesFault::Image)) return eglFailure(EGL_BAD_ALLOC, EGL_NO_IMAGE_KHR);
    const android::sp<android::GraphicBuffer> buffer = graphicBufferOf(client);
    if (buffer == nullptr) return eglFailure(EGL_BAD_PARAMETER, EGL_NO_IMAGE_KHR);
    return NativeImages::get().add(buffer);
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglDestroyImageKHR(EGLDisplay display, EGLImageKHR image) {
    if (NativeImages::get().remove(image)) return EGL_TRUE;
    const HostExtensions& host = HostExtensions::get();
    return host.destroyImage != nullptr ? host.destroyImage(display, image)
                                        : eglFailure(EGL_BAD_PARAMETER, EGL_FALSE);
}

PLEXA_GLES_ENTRY EGLSyncKHR __wrap_eglCreateSyncKHR(EGLDisplay display, EGLenum type,
                                                    const EGLint* attributes) {
    const HostExtensions& host = HostExtensions::get();
    if (host.createSync == nullptr || isFaultDue(GlesFault::FenceCreate)) {
        return eglFailure(EGL_BAD_ALLOC, EGL_NO_SYNC_KHR);
    }
    const EGLSyncKHR sync = host.createSync(display, type, attributes);
    if (sync != EGL_NO_SYNC_KHR) LiveObjects::get().addSync(sync);
    return sync;
}

PLEXA_GLES_ENTRY EGLBoolean __wrap_eglDestroySyncKHR(EGLDisplay display, EGLSyncKHR sync) {
    LiveObjects::get().removeSync(sync);
    return HostExtensions::get().destroySync(display, sync);
}

PLEXA_GLES_ENTRY EGLint __wrap_eglClientWaitSyncKHR(EGLDisplay display, EGLSyncKHR sync,
                                                    EGLint flags, EGLTimeKHR timeout) {
    if (isFaultDue(GlesFault::FenceTimeout)) return EGL_TIMEOUT_EXPIRED_KHR;
    if (isFaultDue(GlesFault::FenceError)) return eglFailure(EGL_BAD_PARAMETER, EGL_FALSE);
    const EGLint result = HostExtensions::get().clientWaitSync(display, sync, flags, timeout);
    if (result == EGL_CONDITION_SATISFIED_KHR) {
        if (GlContext* context = GlContext::current()) context->finish();
    }
    return result;
}
