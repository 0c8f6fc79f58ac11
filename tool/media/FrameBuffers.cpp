// The client's graphics buffers, as the stages take them.
#include "media/FrameBuffers.h"

#include <APipeBufferFactory.h>
#include <hardware/gralloc.h>
#include <system/graphics.h>

namespace plexa {

using android::AMessage;
using android::APipeBuffer;
using android::GraphicBuffer;
using android::sp;

namespace {

constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;

sp<APipeBuffer> allocate(APipeBuffer::ColorFormat format, android::PixelFormat pixels, int width,
                         int height, int id) {
    sp<GraphicBuffer> memory = new GraphicBuffer(
        static_cast<uint32_t>(width), static_cast<uint32_t>(height), pixels, 1, kUsage, "plexa");
    if (memory->initCheck() != android::OK) return nullptr;
    sp<APipeBuffer> buffer = android::APipeBufferFactory::Create(
        format, width, height, memory, nullptr, APipeBuffer::GraphicMemory, -1, -1);
    if (buffer == nullptr || buffer->init() != android::OK) return nullptr;
    buffer->getMeta()->setInt32("bufferId", id);
    return buffer;
}

}  // namespace

APipeBuffer::ColorFormat linearFormat(int bitDepth) {
    return bitDepth > 8 ? APipeBuffer::P010Venus : APipeBuffer::Nv12Venus;
}

APipeBuffer::ColorFormat compressedFormat(int bitDepth) {
    return bitDepth > 8 ? APipeBuffer::Tp10Ubwc : APipeBuffer::Nv12Ubwc;
}

sp<APipeBuffer> allocateLinear(int bitDepth, int width, int height, int id) {
    const android::PixelFormat pixels =
        bitDepth > 8 ? HAL_PIXEL_FORMAT_YCBCR_P010 : HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS;
    return allocate(linearFormat(bitDepth), pixels, width, height, id);
}

sp<APipeBuffer> allocateCompressed(int bitDepth, int width, int height, int id) {
    const android::PixelFormat pixels = bitDepth > 8 ? HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED
                                                     : HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED;
    return allocate(compressedFormat(bitDepth), pixels, width, height, id);
}

sp<APipeBuffer> allocatePicture(int width, int height) {
    return allocate(APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, width, height, 0);
}

SemiPlanarPicture pixelsOf(const sp<APipeBuffer>& buffer) {
    SemiPlanarPicture pixels;
    uint8_t* unusedCr = nullptr;
    buffer->getYCbCr(&pixels.luma, &pixels.chroma, &unusedCr);
    pixels.lumaStride = buffer->getStride();
    pixels.chromaStride = buffer->getCStride();
    pixels.width = buffer->getWidth();
    pixels.height = buffer->getHeight();
    pixels.bitDepth = buffer->getColorFormat() == APipeBuffer::P010Venus ? 10 : 8;
    return pixels;
}

sp<AMessage> formatMessage(APipeBuffer::ColorFormat format, int width, int height) {
    sp<AMessage> message = new AMessage();
    message->setInt32("colorformat", format);
    message->setInt32("width", width);
    message->setInt32("height", height);
    return message;
}

}  // namespace plexa
