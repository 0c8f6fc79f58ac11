// What callers hold of EGL and OpenGL ES at the moment, for tests that look for leaks.
#pragma once

#include <host/GlesExport.h>

#include <cstdint>

namespace android::host {

/// Objects of a destroyed context no longer count, deleted or not.
struct GlesCounts {
    int64_t contexts = 0;
    int64_t images = 0;  // of graphics buffers
    int64_t syncs = 0;
    int64_t textures = 0;
    int64_t buffers = 0;
    int64_t vertexArrays = 0;
    int64_t frameBuffers = 0;
    int64_t shaders = 0;
    int64_t programs = 0;

    friend bool operator==(const GlesCounts&, const GlesCounts&) = default;
};

/// Threading: thread-safe.
PLEXA_GLES_EXPORT GlesCounts glesCounts();

}  // namespace android::host
