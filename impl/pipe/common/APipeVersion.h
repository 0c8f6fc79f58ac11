// The version of the library.
#pragma once

#include <cstdint>

#include "APipeExport.h"

// The version of these headers. While the major number is 0 any minor version may break its
// clients, and the soname carries both: libplexa_common.so.0.1. From 1.0 on it carries the major
// number alone. A device's library has none: it is built together with its clients.
#define PLEXA_VERSION_MAJOR 0
#define PLEXA_VERSION_MINOR 1
#define PLEXA_VERSION_PATCH 0
#define PLEXA_VERSION \
    (PLEXA_VERSION_MAJOR * 10000 + PLEXA_VERSION_MINOR * 100 + PLEXA_VERSION_PATCH)

namespace android {

/// PLEXA_VERSION of the library that is loaded. Thread-safe.
PLEXA_EXPORT int32_t getPlexaVersion();

}  // namespace android
