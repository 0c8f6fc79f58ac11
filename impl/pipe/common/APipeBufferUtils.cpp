// APipeBufferUtils: the geometry that follows from a colour format and a size.
#define LOG_TAG "APipeBufferUtils"

#include "APipeBufferUtils.h"

#include <ChipVendor.h>
#include <log/log.h>

#include <limits>
#include <string>

namespace android {

namespace {

constexpr int32_t kUnknown = -1;
constexpr int32_t kRowAlignment = 16;      // bytes of 8-bit luma, pixels of Rgba8888
constexpr int32_t kRow16Alignment = 256;   // bytes of 16-bit luma
constexpr int32_t kRowRgbaAlignment = 64;  // bytes of Rgba8888
constexpr int32_t kTallAlignment = 32;     // rows
constexpr int32_t kRgbaPixelBytes = 4;
constexpr size_t kShortestChipName = 6;

enum class Family { Yuv8, Yuv16, Rgba, Allocator, None };

Family familyOf(APipeBuffer::ColorFormat format) {
    switch (format) {
        case APipeBuffer::Yuv420p:
        case APipeBuffer::Nv12:
        case APipeBuffer::Yv12:
            return Family::Yuv8;
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return Family::Yuv16;
        case APipeBuffer::Rgba8888:
            return Family::Rgba;
        case APipeBuffer::Nv12Venus:
        case APipeBuffer::Nv12Ubwc:
        case APipeBuffer::Tp10Ubwc:
            return Family::Allocator;
        default:
            ALOGE("Create unknown color format %d", format);
            return Family::None;
    }
}

int32_t checked(int64_t value) {
    const bool fits = value >= 1 && value <= std::numeric_limits<int32_t>::max();
    return fits ? static_cast<int32_t>(value) : kUnknown;
}

bool chipReadsTallBlocks() {
    const std::string chip = ChipVendor::getChipName();
    if (chip.size() < kShortestChipName) return false;
    return chip.find("SM8550") != std::string::npos || chip.find("SM8650") != std::string::npos;
}

// Bytes of one row of the first plane when only the width is known.
int32_t derivedRowBytes(Family family, int64_t width) {
    switch (family) {
        case Family::Yuv8:
            return APipeBufferUtils::alignedUp(width, kRowAlignment);
        case Family::Yuv16:
            return APipeBufferUtils::alignedUp(2 * width, kRow16Alignment);
        default:
            return APipeBufferUtils::alignedUp(kRgbaPixelBytes * width, kRowRgbaAlignment);
    }
}

int32_t frameBytes(Family family, int32_t rowBytes, int32_t rows) {
    if (rowBytes < 1 || rows < 1) return kUnknown;
    const int64_t plane = int64_t{rowBytes} * rows;
    return checked(family == Family::Rgba ? plane : plane + plane / 2);
}

}  // namespace

int32_t APipeBufferUtils::getStride(APipeBuffer::ColorFormat format, int32_t width) {
    switch (familyOf(format)) {
        case Family::Yuv8:
        case Family::Rgba:
            return alignedUp(width, kRowAlignment);
        case Family::Yuv16:
            return alignedUp(int64_t{2} * width, kRow16Alignment);
        default:
            return kUnknown;
    }
}

int32_t APipeBufferUtils::getElevation(APipeBuffer::ColorFormat format, int32_t height) {
    switch (familyOf(format)) {
        case Family::Yuv8:
            return checked(height);
        case Family::Yuv16:
            return alignedUp(height, kTallAlignment);
        case Family::Rgba:
            return chipReadsTallBlocks() ? alignedUp(height, kTallAlignment) : checked(height);
        default:
            return kUnknown;
    }
}

int32_t APipeBufferUtils::getSize(APipeBuffer::ColorFormat format, int32_t width, int32_t height,
                                  int32_t stride, int32_t elevation) {
    const Family family = familyOf(format);
    if (family == Family::Allocator || family == Family::None) return kUnknown;
    if (width < 1 || height < 1) return kUnknown;
    if (stride == kUnknown || elevation == kUnknown) {
        return frameBytes(family, derivedRowBytes(family, width), getElevation(format, height));
    }
    const int64_t unit = family == Family::Rgba ? kRgbaPixelBytes : 1;
    return frameBytes(family, checked(unit * stride), elevation);
}

bool APipeBufferUtils::isCompressedColorformat(APipeBuffer::ColorFormat format) {
    return format == APipeBuffer::Nv12Ubwc || format == APipeBuffer::Tp10Ubwc;
}

int32_t APipeBufferUtils::alignedUp(int64_t value, int32_t alignment) {
    if (value < 1) return kUnknown;
    return checked((value + alignment - 1) & ~int64_t{alignment - 1});
}

}  // namespace android
