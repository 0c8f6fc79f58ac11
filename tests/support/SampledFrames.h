// Frames in graphics buffers, sample by sample, with the bytes around them.
#pragma once

#include <gtest/gtest.h>
#include <hardware/gralloc.h>
#include <host/CompressedLayout.h>
#include <host/GraphicBufferPixels.h>
#include <ui/GraphicBuffer.h>

#include <cstring>
#include <functional>
#include <vector>

namespace cl {

using android::GraphicBuffer;
using android::PixelFormat;
using android::sp;

inline constexpr PixelFormat kNv12 = HAL_PIXEL_FORMAT_YCbCr_420_SP;
inline constexpr PixelFormat kNv12Venus = HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS;
inline constexpr PixelFormat kP010 = HAL_PIXEL_FORMAT_YCBCR_P010;
inline constexpr PixelFormat kNv12Tiles = HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED;
inline constexpr PixelFormat kTp10Tiles = HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED;

struct Size {
    uint32_t width;
    uint32_t height;
};

inline std::ostream& operator<<(std::ostream& out, Size size) {
    return out << size.width << "x" << size.height;
}

// One component of a frame, values as they count: 0 to 255, or 0 to 1023.
struct Component {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint16_t> samples;

    uint16_t at(uint32_t x, uint32_t y) const { return samples[size_t{y} * width + x]; }
    friend bool operator==(const Component&, const Component&) = default;
};

// Y, Cb, Cr; or R, G, B, A.
using Frame = std::vector<Component>;

// What value component c has at (x, y).
using Picture = std::function<uint32_t(uint32_t c, uint32_t x, uint32_t y)>;

inline Frame makeFrame(Size size, const Picture& picture) {
    Frame frame(3);
    for (uint32_t c = 0; c < 3; ++c) {
        frame[c].width = c == 0 ? size.width : (size.width + 1) / 2;
        frame[c].height = c == 0 ? size.height : (size.height + 1) / 2;
        for (uint32_t y = 0; y < frame[c].height; ++y) {
            for (uint32_t x = 0; x < frame[c].width; ++x) {
                frame[c].samples.push_back(static_cast<uint16_t>(picture(c, x, y)));
            }
        }
    }
    return frame;
}

// Noise of so many bits, broken by areas of one value.
inline Frame makeNoise(Size size, uint32_t bits) {
    uint32_t state = 12345;
    return makeFrame(size, [&](uint32_t c, uint32_t x, uint32_t y) {
        state = state * 1664525 + 1013904223;
        const uint32_t value = (x / 96 + y / 24) % 3 == 1 ? 97 * (c + 1) : state >> 8;
        return value & ((1U << bits) - 1);
    });
}

// The four components of an RGBA picture, all zero.
inline Frame makeRgba(Size size) {
    const Component none = {size.width, size.height,
                            std::vector<uint16_t>(size_t{size.width} * size.height)};
    return Frame(4, none);
}

// A linear or compressed graphics buffer, every byte of it a sentinel at first.
class TestBuffer {
public:
    TestBuffer(Size size, PixelFormat format, uint8_t sentinel)
        : mBuffer(sp<GraphicBuffer>::make(size.width, size.height, format, 1U,
                                          uint64_t{GRALLOC_USAGE_HW_TEXTURE})),
          mPixels(android::host::pixelsOf(*mBuffer).value()),
          mSentinel(sentinel) {
        memset(mPixels.base, sentinel, mPixels.size);
    }

    const sp<GraphicBuffer>& get() const { return mBuffer; }
    uint8_t* bytes() const { return mPixels.base; }
    size_t size() const { return mPixels.size; }

    void write(const Frame& frame) {
        visit(frame, [&](uint8_t* sample, const Component& component, uint32_t x, uint32_t y) {
            put(sample, component.at(x, y));
        });
    }

    Frame read() const {
        const Size size = {mBuffer->getWidth(), mBuffer->getHeight()};
        Frame frame = isRgba() ? makeRgba(size)
                               : makeFrame(size, [](uint32_t, uint32_t, uint32_t) { return 0U; });
        visit(frame, [&](uint8_t* sample, Component& component, uint32_t x, uint32_t y) {
            component.samples[size_t{y} * component.width + x] = get(sample);
        });
        return frame;
    }

    // Whether every byte outside the picture is still the sentinel.
    bool paddingIsIntact() const {
        std::vector<uint8_t> expected(mPixels.size, mSentinel);
        const Frame frame = read();
        visit(frame, [&](const uint8_t* sample, const Component&, uint32_t, uint32_t) {
            const auto offset = static_cast<size_t>(sample - mPixels.base);
            memcpy(&expected[offset], sample, isWide() ? 2 : 1);
        });
        return memcmp(expected.data(), mPixels.base, mPixels.size) == 0;
    }

private:
    bool isRgba() const { return mPixels.layout.kind == android::host::BufferKind::Rgb; }
    bool isWide() const { return mPixels.layout.bytesPerSample == 2; }

    template <typename AnyFrame, typename Visitor>
    void visit(AnyFrame& frame, const Visitor& visitor) const {
        const auto& layout = mPixels.layout;
        const android::host::PlaneLayout planes[] = {layout.y, layout.cb, layout.cr};
        for (uint32_t c = 0; c < frame.size(); ++c) {
            const auto& plane = planes[isRgba() ? 0 : c];
            const size_t step = c == 0 || isRgba() ? layout.bytesPerSample : layout.chromaStep();
            for (uint32_t y = 0; y < frame[c].height; ++y) {
                uint8_t* row = mPixels.base + plane.offset + y * plane.stride + (isRgba() ? c : 0);
                for (uint32_t x = 0; x < frame[c].width; ++x) {
                    visitor(row + x * step, frame[c], x, y);
                }
            }
        }
    }

    // P010 has its ten bits at the top; a value with any of the others set is no valid sample.
    void put(uint8_t* sample, uint16_t value) const {
        const auto stored = static_cast<uint16_t>(value << 6);
        if (!isWide()) {
            *sample = static_cast<uint8_t>(value);
        } else {
            memcpy(sample, &stored, sizeof(stored));
        }
    }
    uint16_t get(const uint8_t* sample) const {
        if (!isWide()) return *sample;
        uint16_t stored;
        memcpy(&stored, sample, sizeof(stored));
        return (stored & 0x3F) == 0 ? stored >> 6 : 0xFFFF;
    }

    sp<GraphicBuffer> mBuffer;
    android::host::GraphicBufferPixels mPixels;
    uint8_t mSentinel;
};

// Sample x of row y of a plane's units, straight from the picture of the layout in the docs.
inline uint16_t sampleInTiles(const TestBuffer& buffer, const android::host::CompressedPlane& plane,
                              uint32_t bits, uint32_t unitSamples, uint32_t x, uint32_t y) {
    const uint32_t rows = bits == 8 ? 8 : 4, perRow = bits == 8 ? 32 : 48;
    const uint32_t tile = y / rows * plane.tilesX + x / perRow;
    const uint8_t* slot = buffer.bytes() + plane.tilesOffset + size_t{tile} * 256;
    const bool solid = buffer.bytes()[plane.metadataOffset + tile] == 1;
    const uint32_t inX = solid ? x % unitSamples : x % perRow, inY = solid ? 0 : y % rows;
    if (bits == 8) return slot[inY * 32 + inX];
    uint32_t word;
    memcpy(&word, slot + inY * 64 + inX / 3 * 4, sizeof(word));
    return word >> (inX % 3 * 10) & 0x3FF;
}

}  // namespace cl
