// Strides, planes and tiles of every format of the allocator.
#include "host/BufferLayout.h"

#include "host/CompressedLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace android::host {
namespace {

constexpr size_t kPage = 4096;
constexpr std::array<PixelFormat, 6> kLinear = {
    HAL_PIXEL_FORMAT_RGBA_8888,    HAL_PIXEL_FORMAT_YCBCR_420_888,
    HAL_PIXEL_FORMAT_YCbCr_420_SP, HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS,
    HAL_PIXEL_FORMAT_YCBCR_P010,   HAL_PIXEL_FORMAT_YV12,
};
constexpr std::array<PixelFormat, 2> kCompressed = {HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED,
                                                    HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED};

using Size = std::pair<uint32_t, uint32_t>;

// Every small size, where each rounding rule passes its edge, and sizes that videos have.
std::vector<Size> sizes() {
    std::vector<Size> all = {{322, 178},   {641, 361},   {1366, 768}, {1920, 1080},
                             {3840, 2160}, {4098, 2162}, {1, 8192},   {16384, 1}};
    for (uint32_t width = 1; width <= 67; ++width) {
        for (uint32_t height = 1; height <= 67; ++height)
            all.emplace_back(width, height);
    }
    return all;
}

// Calls check(width, height, format, layout) for each of the formats in every size.
template <typename Formats, typename Check>
void forEachLayout(const Formats& formats, Check check) {
    for (const PixelFormat format : formats) {
        for (const auto& [width, height] : sizes()) {
            SCOPED_TRACE(testing::Message() << format << " " << width << "x" << height);
            const auto layout = BufferLayout::of(width, height, format);
            ASSERT_TRUE(layout);
            EXPECT_EQ(layout->size % kPage, 0U);
            check(width, height, format, *layout);
        }
    }
}

// Rows that clients take for allocated, from the height alone, when they map the first plane.
size_t clientRows(PixelFormat format, size_t height) {
    const bool inBlocks = format == HAL_PIXEL_FORMAT_RGBA_8888 ||
                          format == HAL_PIXEL_FORMAT_YCBCR_P010 ||
                          format == HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS;
    return inBlocks ? (height + 31) / 32 * 32 : height;
}

void expectPlane(const PlaneLayout& plane, size_t rowBytes, size_t rows, size_t end) {
    EXPECT_GE(plane.stride, rowBytes);
    EXPECT_GE(plane.rows, rows);
    EXPECT_LE(plane.offset + plane.stride * (plane.rows - 1) + rowBytes, end);
}

TEST(BufferLayoutTest, PlanesHoldThePictureAndDoNotOverlap) {
    forEachLayout(
        kLinear, [](size_t width, size_t height, PixelFormat, const BufferLayout& layout) {
            const size_t sample = layout.bytesPerSample;
            const size_t chromaWidth = (width + 1) / 2;
            const size_t chromaRows = (height + 1) / 2;
            const size_t lumaEnd =
                layout.isYuv() ? std::min(layout.cb.offset, layout.cr.offset) : layout.size;
            expectPlane(layout.y, width * sample, height, lumaEnd);
            EXPECT_EQ(layout.stridePixels * sample, layout.y.stride);
            if (layout.kind == BufferKind::SemiPlanar) {
                expectPlane(layout.cb, chromaWidth * 2 * sample, chromaRows, layout.size);
                EXPECT_EQ(layout.cr.offset, layout.cb.offset + sample);
            } else if (layout.kind == BufferKind::Planar) {
                expectPlane(layout.cr, chromaWidth * sample, chromaRows, layout.cb.offset);
                expectPlane(layout.cb, chromaWidth * sample, chromaRows, layout.size);
            }
        });
}

TEST(BufferLayoutTest, MemoryCoversWhatClientsMap) {
    forEachLayout(kLinear,
                  [](size_t, size_t height, PixelFormat format, const BufferLayout& layout) {
                      const size_t luma = layout.y.stride * clientRows(format, height);
                      EXPECT_GE(layout.size, layout.isYuv() ? luma * 3 / 2 : luma);
                  });
}

TEST(BufferLayoutTest, PublishedNumbers) {
    struct Case {
        PixelFormat format;
        Size size;
        size_t stride, cbOffset, crOffset, chromaStride, bytes;
    };
    const Case cases[] = {
        {HAL_PIXEL_FORMAT_RGBA_8888, {65, 33}, 512, 0, 0, 0, 32768},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP, {20, 9}, 64, 576, 577, 64, 4096},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, {322, 178}, 384, 73728, 73729, 384, 110592},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, {1920, 1080}, 1920, 2088960, 2088961, 1920, 3133440},
        {HAL_PIXEL_FORMAT_YCBCR_P010, {129, 33}, 512, 32768, 32770, 512, 49152},
        {HAL_PIXEL_FORMAT_YV12, {20, 10}, 32, 400, 320, 16, 4096},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.format << " " << c.size.first);
        const auto layout = BufferLayout::of(c.size.first, c.size.second, c.format);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->y.stride, c.stride);
        EXPECT_EQ(layout->cb.offset, c.cbOffset);
        EXPECT_EQ(layout->cr.offset, c.crOffset);
        EXPECT_EQ(layout->cb.stride, c.chromaStride);
        EXPECT_EQ(layout->size, c.bytes);
    }
}

// The tiles hold the plane and no row or column of tiles is spare.
void expectTiles(const CompressedPlane& plane, uint32_t width, uint32_t height) {
    EXPECT_EQ(plane.width, width);
    EXPECT_EQ(plane.height, height);
    EXPECT_GE(plane.tilesX * plane.tileWidth, width);
    EXPECT_LT((plane.tilesX - 1) * plane.tileWidth, width);
    EXPECT_GE(plane.tilesY * plane.tileHeight, height);
    EXPECT_LT((plane.tilesY - 1) * plane.tileHeight, height);
    EXPECT_EQ(size_t{plane.tileRowBytes} * plane.tileHeight, kTileBytes);
}

TEST(CompressedLayoutTest, TilesCoverThePictureAndNothingOverlaps) {
    forEachLayout(kCompressed, [](uint32_t width, uint32_t height, PixelFormat format,
                                  const BufferLayout& buffer) {
        const CompressedLayout layout = *CompressedLayout::of(width, height, format);
        const CompressedPlane& luma = layout.luma;
        const CompressedPlane& chroma = layout.chroma;
        expectTiles(luma, width, height);
        expectTiles(chroma, (width + 1) / 2, (height + 1) / 2);
        EXPECT_EQ(luma.metadataOffset, 0U);
        EXPECT_EQ(luma.metadataOf(luma.tilesX - 1, luma.tilesY - 1) + 1, chroma.metadataOffset);
        EXPECT_LE(chroma.metadataOffset + chroma.tileCount(), luma.tilesOffset);
        EXPECT_LE(luma.tileOf(luma.tilesX - 1, luma.tilesY - 1) + kTileBytes, chroma.tilesOffset);
        EXPECT_LE(chroma.tilesOffset + chroma.tileCount() * kTileBytes, layout.size);
        EXPECT_EQ(luma.tilesOffset % kPage, 0U);
        EXPECT_EQ(chroma.tilesOffset % kPage, 0U);
        EXPECT_EQ(buffer.size, layout.size);
    });
}

TEST(BufferLayoutTest, ImpossibleSizesAndUnknownFormatsHaveNoLayout) {
    constexpr uint32_t kMinusOne = 0xFFFFFFFF;
    const Size impossible[] = {{0, 16},         {16, 0},          {kMinusOne, 16},
                               {16, kMinusOne}, {100000, 100000}, {kMinusOne, kMinusOne},
                               {0x80000000, 1}, {46341, 46341}};
    for (const auto& [width, height] : impossible) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        for (const PixelFormat format : kLinear) {
            EXPECT_FALSE(BufferLayout::of(width, height, format)) << format;
        }
        for (const PixelFormat format : kCompressed) {
            EXPECT_FALSE(BufferLayout::of(width, height, format)) << format;
            EXPECT_FALSE(CompressedLayout::of(width, height, format)) << format;
        }
    }
    for (const PixelFormat format : {PIXEL_FORMAT_UNKNOWN + 0, -1, 0x22, 0x7FA30C05}) {
        EXPECT_FALSE(BufferLayout::of(16, 16, format)) << format;
    }
    EXPECT_FALSE(CompressedLayout::of(16, 16, HAL_PIXEL_FORMAT_YCbCr_420_SP));
}

}  // namespace
}  // namespace android::host
