// CompressedLayout: where the tiles of the host's compressed formats lie.
#pragma once

#include <ui/PixelFormat.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace android::host {

// Every tile has a slot of this many bytes, whether or not its metadata byte makes use of it.
constexpr size_t kTileBytes = 256;

// What a tile's metadata byte says. Fresh memory is zero: stored tiles of zero samples.
enum class TileKind : uint8_t {
    Stored = 0,  // the slot holds every sample
    Solid = 1,   // every unit equals the slot's first one, the rest of the slot is not read
};

// The tiles of one plane, in raster order. A unit is a luma sample or a Cb, Cr pair. Tiles at the
// right and bottom edge may reach beyond the plane; their surplus samples carry nothing.
struct CompressedPlane {
    uint32_t width = 0;  // units
    uint32_t height = 0;
    uint32_t tileWidth = 0;  // units
    uint32_t tileHeight = 0;
    uint32_t tileRowBytes = 0;  // bytes of one row inside a tile; rows follow each other
    uint32_t tilesX = 0;
    uint32_t tilesY = 0;
    size_t metadataOffset = 0;  // from the buffer's first byte
    size_t tilesOffset = 0;     // from the buffer's first byte

    size_t tileCount() const { return size_t{tilesX} * tilesY; }
    // Offset of the metadata byte and of the slot of tile (x, y), from the buffer's first byte.
    size_t metadataOf(uint32_t x, uint32_t y) const { return metadataOffset + index(x, y); }
    size_t tileOf(uint32_t x, uint32_t y) const { return tilesOffset + index(x, y) * kTileBytes; }

private:
    size_t index(uint32_t x, uint32_t y) const { return size_t{y} * tilesX + x; }
};

// Layout of a whole compressed buffer: the metadata bytes of the luma tiles, at once followed by
// those of the chroma tiles; then the luma tiles; then the chroma tiles. Metadata, luma and chroma
// start, and the buffer ends, on a multiple of 4096 bytes.
//
//   SP_COMPRESSED    8 bits: tiles of 32x8 luma samples, 16x8 pairs, a byte a sample
//   TP10_COMPRESSED  10 bits: tiles of 48x4 luma samples, 24x4 pairs, three samples in a
//                    little-endian 32-bit word, the first one in its lowest bits, top two bits 0
//
// Allocator and codec both go by it. Threading: reentrant.
struct CompressedLayout {
    CompressedPlane luma;
    CompressedPlane chroma;
    size_t size = 0;  // bytes of the buffer

    // Empty for a format that is not compressed, a size below 1 pixel, or a buffer of more than
    // 2^31 - 1 bytes. Odd sizes round chroma up.
    static std::optional<CompressedLayout> of(uint32_t width, uint32_t height, PixelFormat format);
};

}  // namespace android::host
