// FrameFormat: what the library's format codes say about a frame.
#pragma once

#include <cstdint>
#include <optional>

namespace cl {

struct FrameFormat {
    uint32_t bytesPerSample = 0;  // in linear memory: 1 for 8 bits, 2 for 10
    bool compressed = false;
};

// Empty for a number that is no code of CLColorFormat.
std::optional<FrameFormat> frameFormatOf(int32_t code);

struct FrameSize {
    uint32_t width = 0;  // pixels
    uint32_t height = 0;

    FrameSize chroma() const { return {.width = (width + 1) / 2, .height = (height + 1) / 2}; }
    bool isTwice(FrameSize half) const {
        return width == 2 * half.width && height == 2 * half.height;
    }
    friend bool operator==(const FrameSize&, const FrameSize&) = default;
};

// Empty for a side below 1 or above 16384, the longest that the pixel kernels are made for.
std::optional<FrameSize> frameSizeOf(int64_t width, int64_t height);

}  // namespace cl
