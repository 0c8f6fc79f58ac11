// Frames for the fuzzers of stages and engines: any format, any memory, some that do not go
// together.
#pragma once

#include <APipeBufferFactory.h>
#include <hardware/gralloc.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

#include <iterator>

#include "fuzz_messages.h"

namespace plexa {

struct FrameSize {
    int32_t width;
    int32_t height;
};

// A few sizes, so that formats and frames often agree.
inline FrameSize takeFrameSize(FuzzedDataProvider& data) {
    static constexpr FrameSize kSizes[] = {{16, 8}, {32, 16}, {17, 9}, {1, 1}, {2, 64}};
    return kSizes[data.ConsumeIntegralInRange<size_t>(0, std::size(kSizes) - 1)];
}

inline android::sp<android::GraphicBuffer> takeGraphicBuffer(FuzzedDataProvider& data,
                                                             const FrameSize& size) {
    static constexpr android::PixelFormat kFormats[] = {HAL_PIXEL_FORMAT_YCbCr_420_SP,
                                                        HAL_PIXEL_FORMAT_RGBA_8888,
                                                        HAL_PIXEL_FORMAT_YCBCR_P010,
                                                        HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED,
                                                        HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED,
                                                        HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS,
                                                        HAL_PIXEL_FORMAT_YCBCR_420_888,
                                                        HAL_PIXEL_FORMAT_YV12};
    constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN |
                                GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_HW_RENDER;
    const auto format = kFormats[data.ConsumeIntegralInRange<size_t>(0, std::size(kFormats) - 1)];
    return new android::GraphicBuffer(static_cast<uint32_t>(size.width),
                                      static_cast<uint32_t>(size.height), format, 1, kUsage,
                                      "fuzz");
}

// Null at times. Its metadata is hostile; it may or may not be initialised.
inline android::sp<android::APipeBuffer> takeFrame(FuzzedDataProvider& data) {
    using android::APipeBuffer;
    if (data.ConsumeIntegralInRange(0, 7) == 0) return nullptr;
    const auto format =
        static_cast<APipeBuffer::ColorFormat>(data.ConsumeIntegralInRange<int32_t>(0, 12));
    const bool isGraphic = data.ConsumeIntegralInRange(0, 7) != 0;
    const FrameSize size = takeFrameSize(data);
    const FrameSize memorySize =
        data.ConsumeIntegralInRange(0, 7) != 0 ? size : takeFrameSize(data);
    const auto frame = android::APipeBufferFactory::Create(
        format, size.width, size.height, isGraphic ? takeGraphicBuffer(data, memorySize) : nullptr,
        nullptr, isGraphic ? APipeBuffer::GraphicMemory : APipeBuffer::LocalMemory, -1, -1);
    if (frame == nullptr) return nullptr;
    if (data.ConsumeBool()) frame->init();
    if (data.ConsumeBool()) frame->getMeta()->setInt64("timeUs", data.ConsumeIntegralInRange(0, 9));
    if (data.ConsumeBool()) frame->getMeta()->setInt32("bufferId", 1);
    addHostileEntries(data, frame->getMeta());
    return frame;
}

}  // namespace plexa
