// Buffer geometry: any format, size, stride and number of rows. What init() accepts must lie in the
// memory that it has.
#include <APipeBufferFactory.h>
#include <APipeBufferUtils.h>

#include <cstdlib>

#include "fuzz_messages.h"

using android::APipeBuffer;
using android::APipeBufferFactory;
using android::APipeBufferUtils;
using android::sp;

namespace {

// Larger ones say nothing new and only cost time.
constexpr int32_t kLargestFrame = 1 << 20;

void touch(const sp<APipeBuffer>& buffer) {
    const auto memory = buffer->getLocalBuffer();
    uint8_t* planes[3] = {};
    if (buffer->getYCbCr(&planes[0], &planes[1], &planes[2]) != android::OK) return;
    if (memory == nullptr || memory->size() < static_cast<size_t>(buffer->getSize())) std::abort();
    for (uint8_t* plane : planes) {
        if (plane == nullptr) continue;
        if (plane < memory->data() || plane > memory->data() + memory->size()) std::abort();
        if (plane < memory->data() + memory->size()) *plane = 1;
    }
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
    const sp<APipeBuffer> buffer = APipeBufferFactory::Create(
        format, width, height, nullptr, nullptr, APipeBuffer::LocalMemory, stride, elevation);
    if (buffer == nullptr || buffer->init() != android::OK) return 0;
    // Rows that are too short or too few for the picture are taken as they are: the caller's
    // business.
    if (buffer->getStride() >= ownStride && buffer->getElevation() >= ownRows) touch(buffer);
    return 0;
}
