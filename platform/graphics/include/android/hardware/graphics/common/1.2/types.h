// PixelFormat as HAL interfaces take it.
#pragma once

#include <system/graphics.h>

#include <cstdint>

namespace android::hardware::graphics::common::V1_2 {

enum class PixelFormat : int32_t {
    RGBA_8888 = HAL_PIXEL_FORMAT_RGBA_8888,
    YCBCR_420_888 = HAL_PIXEL_FORMAT_YCBCR_420_888,
    YCBCR_P010 = HAL_PIXEL_FORMAT_YCBCR_P010,
    YV12 = HAL_PIXEL_FORMAT_YV12,
};

}  // namespace android::hardware::graphics::common::V1_2
