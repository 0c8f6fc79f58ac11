// NativeImages: the EGL images that callers made of graphics buffers.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <ui/GraphicBuffer.h>
#include <utils/Mutex.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <map>
#include <memory>

namespace android::host {

// An image keeps its buffer alive until it is destroyed; so does every texture made of it.
// Threading: thread-safe.
class NativeImages {
public:
    static NativeImages& get();

    EGLImageKHR add(const sp<GraphicBuffer>& buffer);
    // False for a handle that is none of these.
    bool remove(EGLImageKHR image);
    // Null for a handle that is none of these.
    sp<GraphicBuffer> find(EGLImageKHR image) const;
    int64_t count() const;

private:
    mutable Mutex mLock;
    // A handle is the address where its image holds the buffer: unlike any host image's.
    std::map<EGLImageKHR, std::unique_ptr<sp<GraphicBuffer>>> mImages GUARDED_BY(mLock);
};

}  // namespace android::host
