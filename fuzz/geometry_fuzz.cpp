// Buffer geometry: any format, size, stride and number of rows. What init() accepts must lie in the
// memory that it has.
#include <APipeBufferFactory.h>
#include <APipeBufferUtils.h>
#include <host/SharedMemory.h>

#include <algorithm>
#include <cstdlib>

#include "fuzz_frames.h"

using android::APipeBuffer;
using android::APipeBufferFactory;
using android::APipeBufferUtils;
using android::sp;

namespace {

// Larger ones say nothing new and only cost time.
constexpr int32_t kLargestFrame = 1 << 20;

bool lies(const uint8_t* at, const uint8_t* first, size_t bytes) {
    return at >= first && at <= first + bytes;
}

// A buffer takes the client's word for what its graphics memory holds.
bool isWhatItSays(const sp<APipeBuffer>& buffer) {
    const auto graphic = buffer->getGraphicBuffer();
    return graphic == nullptr || (buffer->getColorFormat() == APipeBuffer::Rgba8888) ==
                                     (graphic->getPixelFormat() == HAL_PIXEL_FORMAT_RGBA_8888);
}

// What a buffer says of its memory: heap and shared memory are all there and hold the planes, and a
// graphics buffer's rows can be written.
void check(const sp<APipeBuffer>& buffer, const sp<APipeBuffer::IMemory>& region) {
    uint8_t* planes[3] = {};
    if (buffer->getYCbCr(&planes[0], &planes[1], &planes[2]) != android::OK) std::abort();
    const auto local = buffer->getLocalBuffer();
    const uint8_t* first = local != nullptr ? local->data() : nullptr;
    size_t bytes = local != nullptr ? local->size() : 0;
    if (region != nullptr) {
        first = static_cast<uint8_t*>(static_cast<void*>(region->getPointer()));
        bytes = region->getSize();
    }
    if (first != nullptr) {
        if (bytes < static_cast<size_t>(buffer->getSize())) std::abort();
        for (const uint8_t* plane : planes) {
            if (plane != nullptr && !lies(plane, first, bytes)) std::abort();
        }
    }
    if (planes[0] == nullptr) return;
    const auto stride = static_cast<size_t>(buffer->getStride()) *
                        (buffer->getColorFormat() == APipeBuffer::Rgba8888 ? 4 : 1);
    planes[0][0] = 1;
    planes[0][stride * static_cast<size_t>(buffer->getHeight() - 1)] = 1;
}

sp<android::GraphicBuffer> takeGraphicBuffer(FuzzedDataProvider& data, int32_t width,
                                             int32_t height) {
    if (data.ConsumeIntegralInRange(0, 3) == 0)
        return plexa::takeGraphicBuffer(data, plexa::takeFrameSize(data));
    return plexa::takeGraphicBuffer(data, {width, height});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    plexa::silenceLog();
    FuzzedDataProvider data(bytes, size);
    const auto format =
        static_cast<APipeBuffer::ColorFormat>(data.ConsumeIntegralInRange<int32_t>(-2, 14));
    const bool small = data.ConsumeBool();
    const auto number = [&] {
        return small ? data.ConsumeIntegralInRange<int32_t>(-2, 300)
                     : data.ConsumeIntegral<int32_t>();
    };
    const int32_t width = number(), height = number(), stride = number(), elevation = number();
    const int32_t ownStride = APipeBufferUtils::getStride(format, width);
    const int32_t ownRows = APipeBufferUtils::getElevation(format, height);
    if (ownStride != -1 && ownStride < width) std::abort();
    if (ownRows != -1 && ownRows < height) std::abort();
    APipeBufferUtils::alignedUp(stride, 1 << data.ConsumeIntegralInRange(0, 30));
    for (const int32_t bytesOfFrame :
         {APipeBufferUtils::getSize(format, width, height, -1, -1),
          APipeBufferUtils::getSize(format, width, height, stride, elevation)}) {
        if (bytesOfFrame < -1) std::abort();
        if (bytesOfFrame > kLargestFrame) return 0;
    }
    if (width > 1024 || height > 1024) return 0;
    const auto memory =
        static_cast<APipeBuffer::MemoryType>(data.ConsumeIntegralInRange<int32_t>(-1, 3));
    sp<android::GraphicBuffer> graphic;
    sp<APipeBuffer::IMemory> region;
    if (memory == APipeBuffer::GraphicMemory) graphic = takeGraphicBuffer(data, width, height);
    if (memory == APipeBuffer::HidlMemory) {
        const int32_t exact = APipeBufferUtils::getSize(format, width, height, stride, elevation);
        region = android::host::makeSharedMemory(static_cast<uint64_t>(
            data.ConsumeBool() ? std::max(exact, 0) : data.ConsumeIntegralInRange(0, 8192)));
    }
    const sp<APipeBuffer> buffer = APipeBufferFactory::Create(format, width, height, graphic,
                                                              region, memory, stride, elevation);
    if (buffer == nullptr || buffer->init() != android::OK) return 0;
    // Rows that are too short or too few for the picture are taken as they are: the caller's
    // business.
    const bool isWide = buffer->getStride() >= ownStride && buffer->getElevation() >= ownRows;
    if (isWide && isWhatItSays(buffer)) check(buffer, region);
    int fd = -1;
    uint8_t* address = nullptr;
    if (buffer->getMappedParam(&fd, &address) == android::OK) *address = 1;
    return 0;
}
