// Planes: the pixels of a graphics buffer as textures take them.
#pragma once

#include <GLES3/gl32.h>
#include <host/GraphicBufferPixels.h>
#include <ui/GraphicBuffer.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "Unpacker.h"

namespace android::host {

// One texture's worth of pixels. A texel is a luma sample, a Cb, Cr pair or an RGBA pixel.
struct Plane {
    GLenum internalFormat = 0;
    GLenum format = 0;
    GLenum type = 0;
    GLsizei width = 0;      // texels
    GLsizei height = 0;     // rows
    GLsizei rowTexels = 0;  // from a row to the next
    const uint8_t* data = nullptr;
};

// An RGBA buffer has no chroma: its pixels are in luma.
struct Planes {
    Plane luma;
    std::optional<Plane> chroma;
};

// Reads graphics buffers. What is not stored as a texture takes it passes through memory of the
// reader's own, which it keeps for the next frame:
//   compressed         unpacked first
//   Cb and Cr apart    interleaved
//   10 bits            at the top of 16: the low bits repeat the high ones, so that as a texture
//   the
//                      largest sample is 1.0; cut to 8 bits where the host has no such textures
//   odd sizes          chroma repeated to luma's size: both planes are sampled at the same
//                      normalised coordinates, which fit half the size only when it is even
// Threading: not thread-safe.
class PlaneReader {
public:
    // The planes are valid until the next call or the buffer's end. Empty, after an error log, for
    // a buffer that cannot be read.
    std::optional<Planes> read(const sp<GraphicBuffer>& buffer, bool hasSixteenBitTextures);

private:
    Planes readYuv(const GraphicBufferPixels& pixels, GLsizei width, GLsizei height,
                   bool hasSixteenBitTextures);
    void interleave(Plane& chroma, const GraphicBufferPixels& pixels);
    void repeat(Plane& chroma, GLsizei width, GLsizei height);

    Unpacker mUnpacker;
    std::vector<uint8_t> mLuma;
    std::vector<uint8_t> mChroma;
    std::vector<uint8_t> mRepeated;
};

}  // namespace android::host
