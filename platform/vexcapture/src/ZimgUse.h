// ZimgUse: what zimg 3.0.4 needs beyond what its manual says.
#pragma once

#include <zimg.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace android::host {

// What addresses and strides are multiples of, so that zimg may use every instruction set.
constexpr size_t kZimgAlignment = 64;

constexpr size_t alignForZimg(size_t bytes) {
    return (bytes + kZimgAlignment - 1) / kZimgAlignment * kZimgAlignment;
}

struct ZimgDeleter {
    void operator()(uint8_t* memory) const { std::free(memory); }
    void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
};
using ZimgMemory = std::unique_ptr<uint8_t, ZimgDeleter>;
using ZimgFilters = std::unique_ptr<zimg_filter_graph, ZimgDeleter>;

// For samples or scratch; null without memory. Some kernels load whole vectors from the end of
// both, so one more vector follows.
inline ZimgMemory allocateForZimg(size_t bytes) {
    return ZimgMemory(static_cast<uint8_t*>(
        std::aligned_alloc(kZimgAlignment, alignForZimg(bytes) + kZimgAlignment)));
}

// The cpu_type for a filter of this radius (1: bilinear, 3: Spline36) that makes rows of `to`
// samples from rows of `from`.
inline zimg_cpu_type_e zimgKernelsFor([[maybe_unused]] unsigned from, [[maybe_unused]] unsigned to,
                                      [[maybe_unused]] unsigned radius) {
#ifdef __aarch64__
    // The NEON kernel for rows of 16-bit samples is wrong for filters of 15, 23, 31, … taps. To
    // shrink by 7 and a radius of 1 takes 14.
    if (uint64_t{from} * radius > uint64_t{to} * 7) return ZIMG_CPU_NONE;
#endif
    // Not AUTO_64B: with vectors of 64 bytes samples are left out at one width in a hundred.
    return ZIMG_CPU_AUTO;
}

}  // namespace android::host
