// The pixels of a graphics buffer for code that plays the hardware's part.
#pragma once

#include <host/BufferLayout.h>
#include <ui/GraphicBuffer.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace android::host {

// Valid while the buffer lives.
struct GraphicBufferPixels {
    uint8_t* base = nullptr;
    size_t size = 0;  // bytes, equal to layout.size
    BufferLayout layout;
};

// A graphics buffer's memory as a GPU or video engine sees it: without a CPU lock, and compressed
// formats too. Empty for a buffer that failed to allocate.
// Threading: thread-safe.
std::optional<GraphicBufferPixels> pixelsOf(const GraphicBuffer& buffer);

}  // namespace android::host
