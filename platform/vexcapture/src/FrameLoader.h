// FrameLoader: the visible part of a graphics buffer as planes for the colour library.
#pragma once

#include <host/GraphicBufferPixels.h>
#include <ui/Rect.h>

#include "PlanarImage.h"

namespace android::capture {

// What a loaded frame looks like. A crop with odd edges is loaded with the columns and rows that
// share its chroma samples; the picture is the part of the planes inside.
struct FrameShape {
    bool isYuv = false;  // planes Y, Cb and Cr, chroma halved both ways; else R, G and B
    unsigned depth = 8;  // bits of a sample, in its low bits
    PlanarImage::Shape planes;
    Rect picture;  // within the first plane

    friend bool operator==(const FrameShape&, const FrameShape&) = default;
};

// `crop` lies within the buffer and is not empty; the layout is not compressed.
// Threading: reentrant.
FrameShape shapeOf(const host::BufferLayout& layout, const Rect& crop);

// Copies the samples into planes of the shape. Columns and rows that the shape has beyond the
// buffer repeat the last one.
// Threading: reentrant.
void loadFrame(const host::GraphicBufferPixels& pixels, uint32_t bufferWidth, uint32_t bufferHeight,
               const Rect& crop, const PlanarImage& planes);

}  // namespace android::capture
