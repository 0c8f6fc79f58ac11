// Laying planes out in one block.
#include "PlanarImage.h"

namespace android::capture {
namespace {

// What the colour library asks for with its widest vectors.
constexpr size_t kAlignment = 64;

size_t strideOf(size_t width, size_t bytesPerSample) {
    return (width * bytesPerSample + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

bool PlanarImage::allocate(const Shape& shape) {
    if (mMemory != nullptr && shape == mShape) return true;
    mMemory.reset();
    mShape = {};
    mPlanes = {};
    const size_t stride = strideOf(shape.width, shape.bytesPerSample);
    const size_t chromaStride = strideOf(shape.chromaWidth, shape.bytesPerSample);
    const size_t bytes = stride * shape.height;
    const size_t chromaBytes = chromaStride * shape.chromaHeight;
    mMemory.reset(
        static_cast<uint8_t*>(std::aligned_alloc(kAlignment, bytes + (kPlanes - 1) * chromaBytes)));
    if (mMemory == nullptr) return false;
    uint8_t* const base = mMemory.get();
    mShape = shape;
    mPlanes = {{{.data = base, .stride = stride},
                {.data = base + bytes, .stride = chromaStride},
                {.data = base + bytes + chromaBytes, .stride = chromaStride}}};
    return true;
}

}  // namespace android::capture
