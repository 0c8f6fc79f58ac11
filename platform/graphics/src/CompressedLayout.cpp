// CompressedLayout: tile counts and plane offsets.
#include "host/CompressedLayout.h"

#include "Align.h"

namespace android::host {
namespace {

// Tile sizes are chosen so that every tile fills kTileBytes.
struct TileShape {
    uint32_t lumaWidth;  // samples; a chroma tile is half as many pairs wide
    uint32_t height;
    uint32_t rowBytes;
};

std::optional<TileShape> tileShapeOf(PixelFormat format) {
    switch (format) {
        case HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED:
            return TileShape{.lumaWidth = 32, .height = 8, .rowBytes = 32};
        case HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED:
            return TileShape{.lumaWidth = 48, .height = 4, .rowBytes = 64};
        default:
            return std::nullopt;
    }
}

uint32_t tilesOver(uint32_t units, uint32_t tile) {
    return (units + tile - 1) / tile;
}

CompressedPlane tile(uint32_t width, uint32_t height, uint32_t tileWidth, const TileShape& shape) {
    CompressedPlane plane;
    plane.width = width;
    plane.height = height;
    plane.tileWidth = tileWidth;
    plane.tileHeight = shape.height;
    plane.tileRowBytes = shape.rowBytes;
    plane.tilesX = tilesOver(width, tileWidth);
    plane.tilesY = tilesOver(height, shape.height);
    return plane;
}

}  // namespace

std::optional<CompressedLayout> CompressedLayout::of(uint32_t width, uint32_t height,
                                                     PixelFormat format) {
    const std::optional<TileShape> shape = tileShapeOf(format);
    if (!shape || !isSide(width) || !isSide(height)) return std::nullopt;

    CompressedLayout layout;
    CompressedPlane& luma = layout.luma;
    CompressedPlane& chroma = layout.chroma;
    luma = tile(width, height, shape->lumaWidth, *shape);
    chroma = tile(chromaSide(width), chromaSide(height), shape->lumaWidth / 2, *shape);

    chroma.metadataOffset = luma.tileCount();
    luma.tilesOffset = alignUp(chroma.metadataOffset + chroma.tileCount(), kPageBytes);
    chroma.tilesOffset = alignUp(luma.tilesOffset + luma.tileCount() * kTileBytes, kPageBytes);
    layout.size = alignUp(chroma.tilesOffset + chroma.tileCount() * kTileBytes, kPageBytes);
    if (layout.size > kMaxBufferBytes) return std::nullopt;
    return layout;
}

}  // namespace android::host
