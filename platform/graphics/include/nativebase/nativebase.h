// ANativeWindowBuffer: the face of a graphics buffer that EGL takes.
#pragma once

#include <cutils/native_handle.h>

#include <cstdint>

// First member of every native object: a magic number that tells which kind it is, and reference
// counting that needs no C++.
typedef struct android_native_base_t {
    int magic;
    int version;  // sizeof the object
    void* reserved[4];
    void (*incRef)(struct android_native_base_t* base);
    void (*decRef)(struct android_native_base_t* base);
} android_native_base_t;

// '_', 'b', 'f', 'r'.
#define ANDROID_NATIVE_BUFFER_MAGIC 0x5f626672

typedef struct ANativeWindowBuffer {
    android_native_base_t common{};

    int width = 0;
    int height = 0;
    int stride = 0;  // pixels
    int format = 0;
    int usage_deprecated = 0;
    uintptr_t layerCount = 0;
    void* reserved[1] = {nullptr};
    const native_handle_t* handle = nullptr;  // null when the allocation failed
    uint64_t usage = 0;
} ANativeWindowBuffer;
