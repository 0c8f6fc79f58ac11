// Buffers, formats and items for any stage.
#include <kit/Frames.h>

#include <APipeBufferFactory.h>
#include <APipeBufferUtils.h>
#include <hardware/gralloc.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

#include <array>

namespace plexa::kit {

using android::AMessage;
using android::APipeBuffer;
using android::APipeItem;
using android::GraphicBuffer;
using android::sp;

namespace {

constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN |
                            GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_HW_RENDER;

constexpr std::array<const char*, 13> kNames = {
    "Unknown",   "Yuv420p",   "Nv12",     "P010",       "Nv12Venus", "Nv12Ubwc", "Tp10Ubwc",
    "Reserved7", "Reserved8", "Rgba8888", "Reserved10", "Yv12",      "P010Venus"};

android::PixelFormat pixelFormatOf(APipeBuffer::ColorFormat color) {
    switch (color) {
        case APipeBuffer::Nv12:
            return HAL_PIXEL_FORMAT_YCbCr_420_SP;
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return HAL_PIXEL_FORMAT_YCBCR_P010;
        case APipeBuffer::Nv12Venus:
            return HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS;
        case APipeBuffer::Nv12Ubwc:
            return HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED;
        case APipeBuffer::Tp10Ubwc:
            return HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED;
        case APipeBuffer::Yv12:
            return HAL_PIXEL_FORMAT_YV12;
        case APipeBuffer::Rgba8888:
            return HAL_PIXEL_FORMAT_RGBA_8888;
        default:
            return android::PIXEL_FORMAT_UNKNOWN;
    }
}

sp<APipeBuffer> create(const FrameFormat& format, const sp<GraphicBuffer>& memory) {
    return android::APipeBufferFactory::Create(format.color, format.width, format.height, memory,
                                               nullptr, format.memory, -1, -1);
}

}  // namespace

const char* nameOf(APipeBuffer::ColorFormat color) {
    const auto index = static_cast<size_t>(color);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string toText(const FrameFormat& format) {
    const bool isGraphic = format.memory == APipeBuffer::GraphicMemory;
    return std::string(nameOf(format.color)) + " " + std::to_string(format.width) + "x" +
           std::to_string(format.height) + (isGraphic ? " in graphics memory" : " in local memory");
}

sp<AMessage> formatOf(int32_t colorFormat, int32_t width, int32_t height) {
    const sp<AMessage> format = new AMessage;
    format->setInt32("colorformat", colorFormat);
    format->setInt32("width", width);
    format->setInt32("height", height);
    return format;
}

sp<AMessage> formatOf(const FrameFormat& format) {
    return formatOf(format.color, format.width, format.height);
}

sp<APipeBuffer> newFrame(const FrameFormat& format) {
    sp<GraphicBuffer> memory;
    if (format.memory == APipeBuffer::GraphicMemory) {
        memory = new GraphicBuffer(static_cast<uint32_t>(format.width),
                                   static_cast<uint32_t>(format.height),
                                   pixelFormatOf(format.color), 1, kUsage, "kit");
        if (memory->initCheck() != android::OK) return nullptr;
    }
    sp<APipeBuffer> frame = create(format, memory);
    return frame != nullptr && frame->init() == android::OK ? frame : nullptr;
}

sp<APipeBuffer> newFrameWithoutPixels(const FrameFormat& format) {
    return create(format, nullptr);
}

sp<APipeItem> inputItem(int32_t bufferId, int64_t timeUs, const FrameFormat& format) {
    const sp<APipeItem> item = new APipeItem;
    item->mInput = newFrame(format);
    item->mInput->getMeta()->setInt32("bufferId", bufferId);
    item->mInput->getMeta()->setInt64("timeUs", timeUs);
    return item;
}

sp<APipeItem> outputItem(int32_t bufferId, const FrameFormat& format) {
    const sp<APipeItem> item = new APipeItem;
    item->mOutput = newFrame(format);
    item->mOutput->getMeta()->setInt32("bufferId", bufferId);
    return item;
}

sp<APipeItem> pairItem(int32_t inputId, int32_t outputId, int64_t timeUs) {
    const sp<APipeItem> item = inputItem(inputId, timeUs);
    item->mOutput = outputItem(outputId)->mOutput;
    return item;
}

}  // namespace plexa::kit
