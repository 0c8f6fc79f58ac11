// HostExtensions: the host's own versions of the extension functions that this library replaces.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

namespace android::host {

// Null where the host lacks the extension.
// Threading: thread-safe; the first call looks them up.
struct HostExtensions {
    static const HostExtensions& get();

    PFNEGLCREATEIMAGEKHRPROC createImage;
    PFNEGLDESTROYIMAGEKHRPROC destroyImage;
    PFNEGLCREATESYNCKHRPROC createSync;
    PFNEGLDESTROYSYNCKHRPROC destroySync;
    PFNEGLCLIENTWAITSYNCKHRPROC clientWaitSync;
    PFNGLEGLIMAGETARGETTEXTURE2DOESPROC imageTargetTexture2D;
};

}  // namespace android::host
