// Planes: where the bytes of a picture lie.
#pragma once

#include <APipeBuffer.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace plexa::kit {

/// Borrowed from a buffer while that lives; sizes in bytes.
struct Plane {
    uint8_t* data;
    size_t stride;
    size_t rowBytes;  // of the picture
    size_t rows;
};

/// None for a compressed format and for pixels that cannot be reached. Threading: reentrant.
std::vector<Plane> planesOf(const android::sp<android::APipeBuffer>& buffer);

}  // namespace plexa::kit
