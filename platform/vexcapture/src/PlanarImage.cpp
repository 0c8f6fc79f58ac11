// Laying planes out in one block.
#include "PlanarImage.h"

namespace android::capture {

bool PlanarImage::allocate(const Shape& shape) {
    if (mMemory != nullptr && shape == mShape) return true;
    mMemory.reset();
    mShape = {};
    mPlanes = {};
    const size_t stride = host::alignForZimg(shape.width * shape.bytesPerSample);
    const size_t chromaStride = host::alignForZimg(shape.chromaWidth * shape.bytesPerSample);
    const size_t bytes = stride * shape.height;
    const size_t chromaBytes = chromaStride * shape.chromaHeight;
    mMemory = host::allocateForZimg(bytes + (kPlanes - 1) * chromaBytes);
    if (mMemory == nullptr) return false;
    uint8_t* const base = mMemory.get();
    mShape = shape;
    mPlanes = {{{.data = base, .stride = stride},
                {.data = base + bytes, .stride = chromaStride},
                {.data = base + bytes + chromaBytes, .stride = chromaStride}}};
    return true;
}

}  // namespace android::capture
