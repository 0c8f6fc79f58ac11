// HostExtensions: looking them up.
#include "HostExtensions.h"

namespace android::host {
namespace {

template <typename Function>
void find(const char* name, Function& function) {
    function = reinterpret_cast<Function>(eglGetProcAddress(name));
}

}  // namespace

const HostExtensions& HostExtensions::get() {
    static const HostExtensions extensions = [] {
        HostExtensions found{};
        find("eglCreateImageKHR", found.createImage);
        find("eglDestroyImageKHR", found.destroyImage);
        find("eglCreateSyncKHR", found.createSync);
        find("eglDestroySyncKHR", found.destroySync);
        find("eglClientWaitSyncKHR", found.clientWaitSync);
        find("glEGLImageTargetTexture2DOES", found.imageTargetTexture2D);
        return found;
    }();
    return extensions;
}

}  // namespace android::host
