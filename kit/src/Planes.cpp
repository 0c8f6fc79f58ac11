// Where the bytes of a picture lie.
#include "Planes.h"

namespace plexa::kit {

using android::APipeBuffer;
using android::sp;

namespace {

constexpr size_t kRgbaBytes = 4;

size_t half(size_t length) {
    return (length + 1) / 2;
}

}  // namespace

std::vector<Plane> planesOf(const sp<APipeBuffer>& buffer) {
    uint8_t *y = nullptr, *cb = nullptr, *cr = nullptr;
    if (buffer->getYCbCr(&y, &cb, &cr) != android::OK || y == nullptr) return {};
    const auto width = static_cast<size_t>(buffer->getWidth());
    const auto rows = static_cast<size_t>(buffer->getHeight());
    const auto stride = static_cast<size_t>(buffer->getStride());
    const bool isOwn = buffer->getCStride() > 0;
    const size_t chroma = isOwn ? static_cast<size_t>(buffer->getCStride()) : stride;
    switch (buffer->getColorFormat()) {
        case APipeBuffer::Nv12:
        case APipeBuffer::Nv12Venus:
            return {{y, stride, width, rows}, {cb, chroma, 2 * half(width), half(rows)}};
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return {{y, stride, 2 * width, rows}, {cb, chroma, 4 * half(width), half(rows)}};
        case APipeBuffer::Yuv420p:
        case APipeBuffer::Yv12: {
            const size_t planar = isOwn ? chroma : stride / 2;
            return {{y, stride, width, rows},
                    {cb, planar, half(width), half(rows)},
                    {cr, planar, half(width), half(rows)}};
        }
        case APipeBuffer::Rgba8888:
            return {{y, kRgbaBytes * stride, kRgbaBytes * width, rows}};
        default:
            return {};
    }
}

}  // namespace plexa::kit
