// FrameFormat: the table of format codes.
#include "FrameFormat.h"

#include <cl/common/CLColorFormat.h>

namespace cl {
namespace {

constexpr int64_t kMaxSide = 16384;

constexpr bool isSide(int64_t pixels) {
    return pixels >= 1 && pixels <= kMaxSide;
}

}  // namespace

std::optional<FrameFormat> frameFormatOf(int32_t code) {
    switch (code) {
        case common::CL_COLOR_NV12_COMPRESSED:
            return FrameFormat{.bytesPerSample = 1, .compressed = true};
        case common::CL_COLOR_TP10_COMPRESSED:
            return FrameFormat{.bytesPerSample = 2, .compressed = true};
        case common::CL_COLOR_NV12_VENUS:
        case common::CL_COLOR_NV12:
            return FrameFormat{.bytesPerSample = 1, .compressed = false};
        case common::CL_COLOR_P010_VENUS:
        case common::CL_COLOR_P010:
            return FrameFormat{.bytesPerSample = 2, .compressed = false};
        default:
            return std::nullopt;
    }
}

std::optional<FrameSize> frameSizeOf(int64_t width, int64_t height) {
    if (!isSide(width) || !isSide(height)) return std::nullopt;
    return FrameSize{.width = static_cast<uint32_t>(width),
                     .height = static_cast<uint32_t>(height)};
}

}  // namespace cl
