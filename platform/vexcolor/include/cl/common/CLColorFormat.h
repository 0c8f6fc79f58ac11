// CLColorFormat: the library's numbers for frame layouts.
#pragma once

#include <cstdint>

namespace cl::common {

// Each linear layout has two numbers, one for buffers in the video allocator's rows and one for
// plain rows. Rows are what the graphics buffer says, so the library takes either number for both.
enum CLColorFormat : int32_t {
    CL_COLOR_NV12_COMPRESSED = 3,
    CL_COLOR_TP10_COMPRESSED = 4,
    CL_COLOR_P010_VENUS = 5,
    CL_COLOR_NV12_VENUS = 6,
    CL_COLOR_NV12 = 8,
    CL_COLOR_P010 = 9,
};

}  // namespace cl::common
