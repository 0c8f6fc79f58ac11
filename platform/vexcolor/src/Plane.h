// Plane: one plane of pixels in linear memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cl {

// A unit is what belongs to one position: a luma sample, or a Cb, Cr pair. Borrows the memory.
struct Plane {
    uint8_t* data = nullptr;
    size_t stride = 0;   // bytes from a row to the next
    uint32_t width = 0;  // units
    uint32_t height = 0;
    uint32_t unitBytes = 0;

    size_t rowBytes() const { return size_t{width} * unitBytes; }
    uint8_t* row(uint32_t y) const { return data + y * stride; }
};

}  // namespace cl
