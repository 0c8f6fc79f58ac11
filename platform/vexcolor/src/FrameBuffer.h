// FrameBuffer: opens graphics buffers for the pixel kernels, after checking what they are.
#pragma once

#include <host/CompressedLayout.h>
#include <ui/GraphicBuffer.h>

#include <array>
#include <cstdint>
#include <optional>

#include "FrameFormat.h"
#include "Plane.h"
#include "TileCodec.h"

namespace cl {

// Luma, then interleaved chroma.
using LinearFrame = std::array<Plane, 2>;
using CompressedFrame = std::array<TiledPlane, 2>;

// What a buffer is expected to be, and how to name it in the log.
struct FrameBuffer {
    const char* tag;   // of the log
    const char* role;  // "input" or "output"
    FrameFormat format;
    FrameSize size;

    // The frame in `buffer`, valid while the buffer lives. Empty, after an error log with the
    // cause, for a buffer that is null, failed to allocate, or has another size or pixel format.
    std::optional<LinearFrame> openLinear(const android::sp<android::GraphicBuffer>& buffer) const;
    std::optional<CompressedFrame> openCompressed(
        const android::sp<android::GraphicBuffer>& buffer) const;
};

}  // namespace cl
