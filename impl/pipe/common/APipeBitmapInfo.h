// AndroidBitmapInfo: the platform's description of a bitmap's pixels.
#pragma once

#if __has_include(<android/bitmap.h>)
#include <android/bitmap.h>
#else

// The platform has it in a header for applications, which a vendor's build may not see.
#include <cstdint>

enum {
    ANDROID_BITMAP_FORMAT_RGBA_8888 = 1,
    ANDROID_BITMAP_FORMAT_RGB_565 = 4,
};

typedef struct {
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    uint32_t stride;  // bytes from a row to the next
    int32_t format;   // ANDROID_BITMAP_FORMAT_…
    uint32_t flags;
} AndroidBitmapInfo;

#endif
