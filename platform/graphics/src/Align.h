// Rounding up, and the limits that keep layouts within 32 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace android::host {

// Sizes of buffers travel as 32-bit signed integers.
constexpr size_t kMaxBufferBytes = std::numeric_limits<int32_t>::max();

// More pixels a side than any allocator gives; products of two sides stay far below 64 bits.
constexpr uint32_t kMaxSide = 1U << 24;

constexpr size_t kPageBytes = 4096;

constexpr size_t alignUp(size_t value, size_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

constexpr bool isSide(uint32_t pixels) {
    return pixels >= 1 && pixels <= kMaxSide;
}

// Samples of a chroma plane along a side of so many luma samples.
constexpr uint32_t chromaSide(uint32_t lumaSide) {
    return lumaSide / 2 + lumaSide % 2;
}

}  // namespace android::host
