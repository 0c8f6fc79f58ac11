// PlanarImage: three planes of samples in memory that vector code likes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ZimgUse.h"

namespace android::capture {

// Threading: reentrant.
class PlanarImage {
public:
    static constexpr size_t kPlanes = 3;

    struct Plane {
        uint8_t* data = nullptr;
        size_t stride = 0;  // bytes, a multiple of 64

        template <typename Sample>
        Sample* row(size_t y) const {
            return reinterpret_cast<Sample*>(data + y * stride);
        }
    };

    // Sizes in samples. The first plane has its own size, the other two share one.
    struct Shape {
        size_t width = 0;
        size_t height = 0;
        size_t chromaWidth = 0;
        size_t chromaHeight = 0;
        size_t bytesPerSample = 1;

        friend bool operator==(const Shape&, const Shape&) = default;
    };

    // Memory of the shape, not initialised; what an earlier call gave is kept when it is the same.
    // False when there is no memory: the image is empty then.
    bool allocate(const Shape& shape);

    const Plane& plane(size_t i) const { return mPlanes[i]; }
    const Shape& shape() const { return mShape; }

private:
    Shape mShape;
    std::array<Plane, kPlanes> mPlanes;
    host::ZimgMemory mMemory;
};

}  // namespace android::capture
