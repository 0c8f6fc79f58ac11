// Description of a bitmap's pixels.
#pragma once

#include <cstdint>

enum AndroidBitmapFormat {
    ANDROID_BITMAP_FORMAT_NONE = 0,
    ANDROID_BITMAP_FORMAT_RGBA_8888 = 1,
    ANDROID_BITMAP_FORMAT_RGB_565 = 4,
    ANDROID_BITMAP_FORMAT_RGBA_4444 = 7,
    ANDROID_BITMAP_FORMAT_A_8 = 8,
    ANDROID_BITMAP_FORMAT_RGBA_F16 = 9,
    ANDROID_BITMAP_FORMAT_RGBA_1010102 = 10,
};

typedef struct {
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    uint32_t stride;  // bytes from a row to the next
    int32_t format;   // an AndroidBitmapFormat
    uint32_t flags;
} AndroidBitmapInfo;
