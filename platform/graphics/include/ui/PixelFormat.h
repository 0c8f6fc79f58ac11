// Pixel formats as GraphicBuffer takes them: the HAL's numbers.
#pragma once

#include <system/graphics.h>

#include <cstdint>

namespace android {

typedef int32_t PixelFormat;

enum {
    PIXEL_FORMAT_UNKNOWN = 0,
    PIXEL_FORMAT_RGBA_8888 = HAL_PIXEL_FORMAT_RGBA_8888,
};

}  // namespace android
