// PlaneReader: from buffer layouts to planes.
#define LOG_TAG "PlexaGles"

#include "Planes.h"

#include <GLES2/gl2ext.h>
#include <host/GraphicBufferPixels.h>
#include <libyuv.h>
#include <log/log.h>

#include <cstring>

namespace android::host {
namespace {

constexpr GLsizei half(GLsizei side) {
    return (side + 1) / 2;
}

// Channels of 8 bits.
Plane bytePlane(GLsizei channels, GLsizei width, GLsizei height) {
    Plane plane;
    plane.internalFormat = channels == 1 ? GL_R8 : GL_RG8;
    plane.format = channels == 1 ? GL_RED : GL_RG;
    plane.type = GL_UNSIGNED_BYTE;
    plane.width = width;
    plane.height = height;
    plane.rowTexels = width;
    return plane;
}

void toSixteenBits(Plane& plane) {
    plane.internalFormat = plane.format == GL_RED ? GL_R16_EXT : GL_RG16_EXT;
    plane.type = GL_UNSIGNED_SHORT;
}

GLsizei channelsOf(const Plane& plane) {
    return plane.format == GL_RED ? 1 : 2;
}

GLsizei texelBytes(const Plane& plane) {
    return channelsOf(plane) * (plane.type == GL_UNSIGNED_BYTE ? 1 : 2);
}

void locate(Plane& plane, const GraphicBufferPixels& pixels, const PlaneLayout& layout) {
    plane.data = pixels.base + layout.offset;
    plane.rowTexels = static_cast<GLsizei>(layout.stride) / texelBytes(plane);
}

Plane rgbaPlane(const GraphicBufferPixels& pixels, GLsizei width, GLsizei height) {
    Plane plane{.internalFormat = GL_RGBA8,
                .format = GL_RGBA,
                .type = GL_UNSIGNED_BYTE,
                .width = width,
                .height = height};
    plane.data = pixels.base + pixels.layout.y.offset;
    plane.rowTexels = static_cast<GLsizei>(pixels.layout.stridePixels);
    return plane;
}

// 10 bits at the top of 16, all sixteen in use.
Plane spread(const Plane& plane, std::vector<uint8_t>& memory) {
    const size_t samples = static_cast<size_t>(plane.width) * channelsOf(plane);
    const size_t stride = static_cast<size_t>(plane.rowTexels) * texelBytes(plane);
    memory.resize(samples * sizeof(uint16_t) * plane.height);
    auto* out = reinterpret_cast<uint16_t*>(memory.data());
    for (GLsizei y = 0; y < plane.height; ++y, out += samples) {
        const auto* in = reinterpret_cast<const uint16_t*>(plane.data + y * stride);
        for (size_t i = 0; i < samples; ++i) {
            out[i] = static_cast<uint16_t>((in[i] & 0xFFC0) | (in[i] >> 10));
        }
    }
    Plane result = plane;
    result.rowTexels = plane.width;
    result.data = memory.data();
    return result;
}

// The upper 8 of 16 bits.
Plane cut(const Plane& plane, std::vector<uint8_t>& memory) {
    constexpr int kShiftByEight = 256;
    const GLsizei channels = channelsOf(plane);
    Plane result = bytePlane(channels, plane.width, plane.height);
    memory.resize(static_cast<size_t>(plane.width) * channels * plane.height);
    libyuv::Convert16To8Plane(reinterpret_cast<const uint16_t*>(plane.data),
                              plane.rowTexels * channels, memory.data(), plane.width * channels,
                              kShiftByEight, plane.width * channels, plane.height);
    result.data = memory.data();
    return result;
}

}  // namespace

std::optional<Planes> PlaneReader::read(const sp<GraphicBuffer>& buffer,
                                        bool hasSixteenBitTextures) {
    const GraphicBuffer* linear = buffer.get();
    std::optional<GraphicBufferPixels> pixels = pixelsOf(*linear);
    if (pixels && pixels->layout.kind == BufferKind::CompressedYuv) {
        linear = mUnpacker.unpack(buffer);
        if (linear == nullptr) return std::nullopt;
        pixels = pixelsOf(*linear);
    }
    if (!pixels) {
        ALOGE("a graphics buffer without memory cannot be sampled");
        return std::nullopt;
    }
    const auto width = static_cast<GLsizei>(linear->getWidth());
    const auto height = static_cast<GLsizei>(linear->getHeight());
    if (!pixels->layout.isYuv()) {
        return Planes{.luma = rgbaPlane(*pixels, width, height), .chroma = std::nullopt};
    }
    return readYuv(*pixels, width, height, hasSixteenBitTextures);
}

Planes PlaneReader::readYuv(const GraphicBufferPixels& pixels, GLsizei width, GLsizei height,
                            bool hasSixteenBitTextures) {
    const BufferLayout& layout = pixels.layout;
    Plane luma = bytePlane(1, width, height);
    Plane chroma = bytePlane(2, half(width), half(height));
    const bool isTenBit = layout.bytesPerSample == 2;
    if (isTenBit) {
        toSixteenBits(luma);
        toSixteenBits(chroma);
    }
    locate(luma, pixels, layout.y);
    if (layout.kind == BufferKind::Planar) {
        interleave(chroma, pixels);
    } else {
        locate(chroma, pixels, layout.cb);
    }
    if (isTenBit) {
        luma = hasSixteenBitTextures ? spread(luma, mLuma) : cut(luma, mLuma);
        chroma = hasSixteenBitTextures ? spread(chroma, mChroma) : cut(chroma, mChroma);
    }
    if (width % 2 != 0 || height % 2 != 0) repeat(chroma, width, height);
    return {.luma = luma, .chroma = chroma};
}

void PlaneReader::interleave(Plane& chroma, const GraphicBufferPixels& pixels) {
    const BufferLayout& layout = pixels.layout;
    mChroma.resize(size_t{2} * chroma.width * chroma.height);
    libyuv::MergeUVPlane(pixels.base + layout.cb.offset, static_cast<int>(layout.cb.stride),
                         pixels.base + layout.cr.offset, static_cast<int>(layout.cr.stride),
                         mChroma.data(), 2 * chroma.width, chroma.width, chroma.height);
    chroma.data = mChroma.data();
}

void PlaneReader::repeat(Plane& chroma, GLsizei width, GLsizei height) {
    const size_t bytes = texelBytes(chroma);
    mRepeated.resize(bytes * width * height);
    uint8_t* out = mRepeated.data();
    for (GLsizei y = 0; y < height; ++y) {
        const uint8_t* row = chroma.data + bytes * chroma.rowTexels * (y / 2);
        for (GLsizei x = 0; x < width; ++x, out += bytes)
            memcpy(out, row + bytes * (x / 2), bytes);
    }
    chroma.width = width;
    chroma.height = height;
    chroma.rowTexels = width;
    chroma.data = mRepeated.data();
}

}  // namespace android::host
