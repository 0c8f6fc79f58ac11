// Frames in graphics memory, as the engines take them.
#pragma once

#include <APipeBufferFactory.h>
#include <hardware/gralloc.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

namespace plexa {

inline constexpr uint64_t kCpuUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;

// Null for a colour format that the allocator has no layout for.
inline android::sp<android::APipeBuffer> graphicFrame(android::APipeBuffer::ColorFormat colorFormat,
                                                      int32_t halFormat, uint32_t width,
                                                      uint32_t height) {
    const android::sp<android::GraphicBuffer> memory =
        new android::GraphicBuffer(width, height, halFormat, 1, kCpuUsage, "test");
    if (memory->initCheck() != android::OK) return nullptr;
    android::sp<android::APipeBuffer> frame = android::APipeBufferFactory::Create(
        colorFormat, static_cast<int32_t>(width), static_cast<int32_t>(height), memory, nullptr,
        android::APipeBuffer::GraphicMemory, -1, -1);
    return frame->init() == android::OK ? frame : nullptr;
}

}  // namespace plexa
