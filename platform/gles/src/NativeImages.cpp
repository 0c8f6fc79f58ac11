// NativeImages: handles and their buffers.
#include "NativeImages.h"

namespace android::host {

NativeImages& NativeImages::get() {
    // Never destroyed: a static object of the program may let go of an image last of all.
    static NativeImages& images = *new NativeImages();
    return images;
}

EGLImageKHR NativeImages::add(const sp<GraphicBuffer>& buffer) {
    auto image = std::make_unique<sp<GraphicBuffer>>(buffer);
    const EGLImageKHR handle = image.get();
    const Mutex::Autolock lock(mLock);
    mImages.emplace(handle, std::move(image));
    return handle;
}

bool NativeImages::remove(EGLImageKHR image) {
    const Mutex::Autolock lock(mLock);
    return mImages.erase(image) != 0;
}

sp<GraphicBuffer> NativeImages::find(EGLImageKHR image) const {
    const Mutex::Autolock lock(mLock);
    const auto found = mImages.find(image);
    return found != mImages.end() ? *found->second : nullptr;
}

int64_t NativeImages::count() const {
    const Mutex::Autolock lock(mLock);
    return std::ssize(mImages);
}

}  // namespace android::host
