// Cutting a crop out of a buffer and taking its interleaved samples apart.
#include "FrameLoader.h"

#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cstring>

namespace android::capture {
namespace {

using host::BufferKind;
using host::BufferLayout;
using host::GraphicBufferPixels;
using host::PlaneLayout;

constexpr unsigned kDeepBits =
    10;  // of formats with samples of two bytes, which they fill from the top

int asInt(size_t value) {
    return static_cast<int>(value);
}

// Strides of 16-bit planes, which libyuv counts in samples.
int wide(size_t strideBytes) {
    return asInt(strideBytes / sizeof(uint16_t));
}

int32_t evenBelow(int32_t value) {
    return value & ~1;
}

int32_t evenAbove(int32_t value) {
    return (value + 1) & ~1;
}

template <typename Sample>
void repeatLastColumn(const PlanarImage::Plane& plane, size_t width, size_t height) {
    for (size_t y = 0; y < height; ++y) {
        Sample* row = plane.row<Sample>(y);
        row[width] = row[width - 1];
    }
}

// The source of one plane: its first wanted sample.
struct Source {
    const uint8_t* data;
    size_t stride;

    const uint16_t* data16() const { return reinterpret_cast<const uint16_t*>(data); }
};

Source sourceAt(const GraphicBufferPixels& pixels, const PlaneLayout& plane, int32_t x, int32_t y,
                size_t step) {
    return {.data = pixels.base + plane.offset + static_cast<size_t>(y) * plane.stride +
                    static_cast<size_t>(x) * step,
            .stride = plane.stride};
}

void loadLuma(const GraphicBufferPixels& pixels, const Rect& area, const PlanarImage& planes) {
    const size_t step = pixels.layout.bytesPerSample;
    const Source from = sourceAt(pixels, pixels.layout.y, area.left, area.top, step);
    const PlanarImage::Plane& to = planes.plane(0);
    const int width = area.width();
    const int height = area.height();
    if (step == 1) {
        libyuv::CopyPlane(from.data, asInt(from.stride), to.data, asInt(to.stride), width, height);
    } else {
        libyuv::ConvertToLSBPlane_16(from.data16(), wide(from.stride), to.row<uint16_t>(0),
                                     wide(to.stride), width, height, kDeepBits);
    }
}

void fillLuma(const Rect& area, const PlanarImage& planes) {
    const PlanarImage::Plane& plane = planes.plane(0);
    const PlanarImage::Shape& shape = planes.shape();
    const auto width = static_cast<size_t>(area.width());
    const auto height = static_cast<size_t>(area.height());
    if (shape.width > width && shape.bytesPerSample == 1) {
        repeatLastColumn<uint8_t>(plane, width, height);
    } else if (shape.width > width) {
        repeatLastColumn<uint16_t>(plane, width, height);
    }
    if (shape.height > height) {
        std::memcpy(plane.row<uint8_t>(height), plane.row<uint8_t>(height - 1), plane.stride);
    }
}

void loadChroma(const GraphicBufferPixels& pixels, const Rect& area, const PlanarImage& planes) {
    const BufferLayout& layout = pixels.layout;
    const size_t step = layout.chromaStep();
    const Source cb = sourceAt(pixels, layout.cb, area.left / 2, area.top / 2, step);
    const Source cr = sourceAt(pixels, layout.cr, area.left / 2, area.top / 2, step);
    const PlanarImage::Plane& u = planes.plane(1);
    const PlanarImage::Plane& v = planes.plane(2);
    const int width = asInt(planes.shape().chromaWidth);
    const int height = asInt(planes.shape().chromaHeight);
    if (layout.kind == BufferKind::Planar) {
        libyuv::CopyPlane(cb.data, asInt(cb.stride), u.data, asInt(u.stride), width, height);
        libyuv::CopyPlane(cr.data, asInt(cr.stride), v.data, asInt(v.stride), width, height);
    } else if (layout.bytesPerSample == 1) {
        libyuv::SplitUVPlane(cb.data, asInt(cb.stride), u.data, asInt(u.stride), v.data,
                             asInt(v.stride), width, height);
    } else {
        libyuv::SplitUVPlane_16(cb.data16(), wide(cb.stride), u.row<uint16_t>(0), wide(u.stride),
                                v.row<uint16_t>(0), wide(v.stride), width, height, kDeepBits);
    }
}

// libyuv names channels as in a little-endian word, B first in memory; here R is first.
void loadRgba(const GraphicBufferPixels& pixels, const Rect& crop, const PlanarImage& planes) {
    const BufferLayout& layout = pixels.layout;
    const Source from = sourceAt(pixels, layout.y, crop.left, crop.top, layout.bytesPerSample);
    const PlanarImage::Plane& r = planes.plane(0);
    const PlanarImage::Plane& g = planes.plane(1);
    const PlanarImage::Plane& b = planes.plane(2);
    libyuv::SplitARGBPlane(from.data, asInt(from.stride), b.data, asInt(b.stride), g.data,
                           asInt(g.stride), r.data, asInt(r.stride), nullptr, 0, crop.width(),
                           crop.height());
}

}  // namespace

FrameShape shapeOf(const BufferLayout& layout, const Rect& crop) {
    FrameShape shape;
    shape.isYuv = layout.isYuv();
    const auto width = static_cast<size_t>(crop.width());
    const auto height = static_cast<size_t>(crop.height());
    if (!shape.isYuv) {
        shape.planes = {
            .width = width, .height = height, .chromaWidth = width, .chromaHeight = height};
        shape.picture = Rect(crop.width(), crop.height());
        return shape;
    }
    const int32_t left = evenBelow(crop.left);
    const int32_t top = evenBelow(crop.top);
    const auto loadedWidth = static_cast<size_t>(evenAbove(crop.right) - left);
    const auto loadedHeight = static_cast<size_t>(evenAbove(crop.bottom) - top);
    if (layout.bytesPerSample > 1) shape.depth = kDeepBits;
    shape.planes = {.width = loadedWidth,
                    .height = loadedHeight,
                    .chromaWidth = loadedWidth / 2,
                    .chromaHeight = loadedHeight / 2,
                    .bytesPerSample = layout.bytesPerSample};
    shape.picture = Rect(crop.left - left, crop.top - top, crop.right - left, crop.bottom - top);
    return shape;
}

void loadFrame(const GraphicBufferPixels& pixels, uint32_t bufferWidth, uint32_t bufferHeight,
               const Rect& crop, const PlanarImage& planes) {
    if (!pixels.layout.isYuv()) {
        loadRgba(pixels, crop, planes);
        return;
    }
    const Rect area(evenBelow(crop.left), evenBelow(crop.top),
                    std::min(evenAbove(crop.right), static_cast<int32_t>(bufferWidth)),
                    std::min(evenAbove(crop.bottom), static_cast<int32_t>(bufferHeight)));
    loadLuma(pixels, area, planes);
    fillLuma(area, planes);
    loadChroma(pixels, area, planes);
}

}  // namespace android::capture
