// Every engine on every small size, in the allocator's rows and in longer ones. What lies around
// the picture is a sentinel that influences no pixel and stays; behind each buffer is a page that
// nobody may touch; each sample is compared with a reference, the last row and column included.
//
// PLEXA_GEOMETRY_WHOLE in the environment takes every width and height from 1 to 67; otherwise it
// is those around the edges of tiles, rows and vectors.
#include <APipeBufferUtils.h>
#include <APipeCLConverter.h>
#include <APipeGLConverter.h>
#include <APipeREConverter.h>
#include <AScalerCL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <optional>

#include "support/ColorMath.h"
#include "support/GlFrames.h"
#include "support/LogCapture.h"
#include "support/SampledFrames.h"
#include "support/TestStage.h"
#include "support/YuvFormula.h"

namespace plexa {
namespace {

using namespace android;
using cl::Component;
using cl::Frame;
using cl::Size;
using cl::TestBuffer;

constexpr uint8_t kSentinels[] = {0x00, 0xFF};
constexpr PixelFormat kYv12 = HAL_PIXEL_FORMAT_YV12;
constexpr PixelFormat kRgba = HAL_PIXEL_FORMAT_RGBA_8888;

constexpr size_t kLongerBy[] = {0, 64, 448};  // bytes of a row

// The GPU's driver takes its time for each size.
using Sides = std::vector<uint32_t>;
const Sides kEdges = {1, 2, 15, 17, 32, 33, 49, 64, 67};
const Sides kFewEdges = {1, 2, 33, 64, 67};

Sides sidesOr(const Sides& some) {
    if (std::getenv("PLEXA_GEOMETRY_WHOLE") == nullptr) return some;
    Sides all(67);
    std::iota(all.begin(), all.end(), 1);
    return all;
}

int bitsOf(PixelFormat format) {
    return format == cl::kP010 || format == cl::kTp10Tiles ? 10 : 8;
}

sp<AMessage> formatsOf(int32_t src, Size srcSize, int32_t dst, Size dstSize) {
    const sp<AMessage> msg = new AMessage;
    msg->setMessage("src", formatOf(src, static_cast<int32_t>(srcSize.width),
                                    static_cast<int32_t>(srcSize.height)));
    msg->setMessage("dst", formatOf(dst, static_cast<int32_t>(dstSize.width),
                                    static_cast<int32_t>(dstSize.height)));
    return msg;
}

// As engines take it; they look at nothing but the graphics buffer and the size.
sp<APipeBuffer> frameOver(const TestBuffer& buffer) {
    return plexa::frameOver(buffer.get());
}

class GeometrySweepTest : public testing::Test {
protected:
    ~GeometrySweepTest() override {
        host::setRowPadding(0);
        std::cout << mRuns << " runs over " << mSizes << " sizes\n";
    }

    // Calls run(size) until something fails.
    template <typename Run>
    void forEachSize(const Sides& some, Run run) {
        const Sides sides = sidesOr(some);
        for (const uint32_t width : sides) {
            for (const uint32_t height : sides) {
                const Size size = {width, height};
                SCOPED_TRACE(size);
                if (HasFailure()) return;
                ++mSizes;
                run(size);
            }
        }
    }
    // Calls run() with each length of the rows of graphics buffers.
    template <typename Run>
    void forEachRowLength(Run run) {
        for (const size_t padding : kLongerBy) {
            SCOPED_TRACE(padding);
            host::setRowPadding(padding);
            run();
        }
    }

    const LogCapture mLog{ANDROID_LOG_FATAL};
    uint64_t mSizes = 0;
    uint64_t mRuns = 0;
};

// --- The compute converter ---

void expectTiles(const TestBuffer& tiled, const Frame& frame, PixelFormat format) {
    const Size size = {frame[0].width, frame[0].height};
    const auto layout = host::CompressedLayout::of(size.width, size.height, format).value();
    for (uint32_t c = 0; c < 3; ++c) {
        const auto& plane = c == 0 ? layout.luma : layout.chroma;
        const uint32_t step = c == 0 ? 1 : 2;
        for (uint32_t y = 0; y < frame[c].height; ++y) {
            for (uint32_t x = 0; x < frame[c].width; ++x) {
                ASSERT_EQ(cl::sampleInTiles(tiled, plane, static_cast<uint32_t>(bitsOf(format)),
                                            step, x * step + c / 2, y),
                          frame[c].at(x, y))
                    << "component " << c << " at " << x << ", " << y;
            }
        }
    }
}

struct Compression {
    PixelFormat linear, tiled;
    APipeBuffer::ColorFormat plain, compressed;
};
constexpr Compression kCompressions[] = {
    {cl::kNv12, cl::kNv12Tiles, APipeBuffer::Nv12Venus, APipeBuffer::Nv12Ubwc},
    {cl::kNv12Venus, cl::kNv12Tiles, APipeBuffer::Nv12Venus, APipeBuffer::Nv12Ubwc},
    {cl::kP010, cl::kTp10Tiles, APipeBuffer::P010Venus, APipeBuffer::Tp10Ubwc}};

TEST_F(GeometrySweepTest, CompressingAndDecompressing) {
    forEachSize(kEdges, [&](Size size) {
        for (const Compression& c : kCompressions) {
            APipeCLConverter packer, unpacker, copier;
            ASSERT_EQ(packer.init(formatsOf(c.plain, size, c.compressed, size)), OK);
            ASSERT_EQ(unpacker.init(formatsOf(c.compressed, size, c.plain, size)), OK);
            ASSERT_EQ(copier.init(formatsOf(c.plain, size, c.plain, size)), OK);
            const Frame frame = cl::makeNoise(size, static_cast<uint32_t>(bitsOf(c.linear)));
            std::vector<TestBuffer> packed;
            const auto run = [&](uint8_t sentinel) {
                TestBuffer in(size, c.linear, sentinel);
                const TestBuffer out(size, c.linear, sentinel), copy(size, c.linear, sentinel);
                in.write(frame);
                const TestBuffer& tiled = packed.emplace_back(size, c.tiled, uint8_t{0xC3});
                ASSERT_EQ(packer.convert(frameOver(in), frameOver(tiled)), OK);
                ASSERT_EQ(unpacker.convert(frameOver(tiled), frameOver(out)), OK);
                ASSERT_EQ(copier.convert(frameOver(in), frameOver(copy)), OK);
                expectTiles(tiled, frame, c.tiled);
                EXPECT_EQ(memcmp(tiled.bytes(), packed[0].bytes(), tiled.size()), 0);
                EXPECT_TRUE(out.read() == frame && copy.read() == frame);
                EXPECT_TRUE(out.paddingIsIntact() && copy.paddingIsIntact());
                mRuns += 3;
            };
            forEachRowLength([&] { std::for_each_n(kSentinels, 2, run); });
        }
    });
}

// --- The compute scaler ---

// How samples of one axis contribute to those of another: by their distance from the centre.
// Growing interpolates between the two next to it; shrinking follows a smooth curve to 3/4 of a new
// sample.
std::vector<std::vector<double>> weightsOf(uint32_t from, uint32_t to) {
    const double ratio = double(from) / to;
    const double reach = std::max(1.0, 0.75 * ratio);
    std::vector<std::vector<double>> all(to, std::vector<double>(from));
    for (uint32_t i = 0; i < to; ++i) {
        double sum = 0;
        for (uint32_t j = 0; j < from; ++j) {
            const double q = std::min(1.0, std::abs(j + 0.5 - (i + 0.5) * ratio) / reach);
            all[i][j] = ratio > 1 ? 2 * q * q * q - 3 * q * q + 1 : 1 - q;
            sum += all[i][j];
        }
        for (double& weight : all[i])
            weight /= sum;
    }
    return all;
}

double worstError(const Component& from, const Component& to) {
    const auto across = weightsOf(from.width, to.width);
    const auto down = weightsOf(from.height, to.height);
    double worst = 0;
    std::vector<double> column(from.height);
    for (uint32_t x = 0; x < to.width; ++x) {
        for (uint32_t y = 0; y < from.height; ++y) {
            column[y] = 0;
            for (uint32_t i = 0; i < from.width; ++i)
                column[y] += across[x][i] * from.at(i, y);
        }
        for (uint32_t y = 0; y < to.height; ++y) {
            double wanted = 0;
            for (uint32_t i = 0; i < from.height; ++i)
                wanted += down[y][i] * column[i];
            worst = std::max(worst, std::abs(wanted - to.at(x, y)));
        }
    }
    return worst;
}

// What a scaled component may differ by: a copy not at all, else by the rounding of the result and
// a little of the filter's weights.
void expectScaled(const Component& from, const Component& to) {
    const bool isCopy = from.width == to.width && from.height == to.height;
    EXPECT_LE(worstError(from, to), isCopy ? 0 : 0.6);
}

TEST_F(GeometrySweepTest, Scaling) {
    const struct {
        PixelFormat hal;
        APipeBuffer::ColorFormat format;
    } formats[] = {{cl::kNv12, APipeBuffer::Nv12},
                   {cl::kNv12Venus, APipeBuffer::Nv12Venus},
                   {cl::kP010, APipeBuffer::P010}};
    const auto scale = [&](const Frame& frame, PixelFormat hal, int32_t format, Size to) {
        const Size from = {frame[0].width, frame[0].height};
        AScalerCL scaler;
        ASSERT_EQ(scaler.init(formatsOf(format, from, format, to)), OK);
        std::optional<Frame> first;
        const auto run = [&](uint8_t sentinel) {
            TestBuffer in(from, hal, sentinel);
            const TestBuffer out(to, hal, sentinel);
            in.write(frame);
            ASSERT_EQ(scaler.scale(frameOver(in), frameOver(out)), OK);
            EXPECT_TRUE(out.paddingIsIntact());
            if (!first) first = out.read();
            EXPECT_TRUE(out.read() == *first) << "rows or surroundings show";
            ++mRuns;
        };
        forEachRowLength([&] { std::for_each_n(kSentinels, 2, run); });
        for (size_t c = 0; first && c < 3; ++c)
            expectScaled(frame[c], (*first)[c]);
    };
    forEachSize(kEdges, [&](Size size) {
        const Size half = {(size.width + 1) / 2, (size.height + 1) / 2};
        const Size twice = {2 * size.width, 2 * size.height};
        for (const auto& [hal, format] : formats) {
            const Frame frame = cl::makeNoise(size, static_cast<uint32_t>(bitsOf(hal)));
            for (const Size to : {size, half, twice, Size{size.height, size.width}, Size{37, 23}}) {
                SCOPED_TRACE(testing::Message() << "format " << format << " to " << to);
                scale(frame, hal, format, to);
            }
        }
    });
}

// --- The capture converter and the GPU converter ---

// Luma of its own in each pixel, one colour in all: what a pixel comes to is known without a rule
// for chroma in between.
constexpr uint32_t kCb = 100, kCr = 150;

Frame oneColour(Size size, int bits) {
    const uint32_t scale = bits == 10 ? 4 : 1;
    return cl::makeFrame(size, [&](uint32_t c, uint32_t x, uint32_t y) {
        const uint32_t luma = 40 + (x * 37 + y * 101 + x * y) % 140;
        return scale * (c == 0 ? luma : c == 1 ? kCb : kCr) + (scale == 4 && c == 0 ? x % 4 : 0);
    });
}

// The formats that both converters read, and the linear one that a compressed one is made from.
struct Source {
    PixelFormat format, linear;
};
constexpr Source kSources[] = {{cl::kNv12, cl::kNv12},           {cl::kNv12Venus, cl::kNv12Venus},
                               {cl::kP010, cl::kP010},           {kYv12, kYv12},
                               {cl::kNv12Tiles, cl::kNv12Venus}, {cl::kTp10Tiles, cl::kP010}};

TestBuffer sourceWith(const Source& source, const Frame& frame, uint8_t sentinel) {
    const Size size = {frame[0].width, frame[0].height};
    TestBuffer linear(size, source.linear, sentinel);
    linear.write(frame);
    if (source.format == source.linear) return linear;
    const Compression& way = kCompressions[bitsOf(source.linear) == 10 ? 2 : 1];
    TestBuffer tiled(size, source.format, sentinel);
    APipeCLConverter packer;
    EXPECT_EQ(packer.init(formatsOf(way.plain, size, way.compressed, size)), OK);
    EXPECT_EQ(packer.convert(frameOver(linear), frameOver(tiled)), OK);
    return tiled;
}

// The largest difference of a channel to what wantedOf(luma code) says.
template <typename WantedOf>
double worstOf(const Frame& picture, const Frame& frame, WantedOf wantedOf) {
    double worst = 0;
    for (size_t i = 0; i < frame[0].samples.size(); ++i) {
        const Triple wanted = wantedOf(frame[0].samples[i]);
        for (size_t c = 0; c < 3; ++c)
            worst = std::max(worst, std::abs(picture[c].samples[i] - wanted[c]));
        worst = std::max(worst, std::abs(picture[3].samples[i] - 255.0));
    }
    return worst;
}

class PictureSweepTest : public GeometrySweepTest {
protected:
    // Converts the source with each row length and sentinel; the picture, the same with all.
    Frame pictureOf(const Source& source, const Frame& frame, APipeConverter& converter) {
        const Size size = {frame[0].width, frame[0].height};
        Frame picture;
        const auto run = [&](uint8_t sentinel) {
            const TestBuffer in = sourceWith(source, frame, sentinel);
            const TestBuffer out(size, kRgba, sentinel);
            const sp<APipeBuffer> input = frameOver(in);
            input->getMeta()->setInt32("dataSpace", HAL_DATASPACE_BT709);
            EXPECT_EQ(converter.convert(input, frameOver(out)), OK);
            EXPECT_TRUE(out.paddingIsIntact());
            if (picture.empty()) picture = out.read();
            EXPECT_TRUE(out.read() == picture) << "rows or surroundings show";
            ++mRuns;
        };
        forEachRowLength([&] { std::for_each_n(kSentinels, 2, run); });
        return picture;
    }
};

TEST_F(PictureSweepTest, Capturing) {
    APipeREConverter converter;
    ASSERT_EQ(converter.init(nullptr), OK);
    forEachSize(kEdges, [&](Size size) {
        for (const Source& source : kSources) {
            SCOPED_TRACE(source.format);
            const Quantizer codes = {.isFull = false, .bits = bitsOf(source.format)};
            const double scale = codes.scale();
            const Frame frame = oneColour(size, codes.bits);
            const auto wanted = [&](double luma) {
                Triple rgb = toRgb(codes.fromCodes({luma, kCb * scale, kCr * scale}), kBt709);
                for (double& channel : rgb)
                    channel = 255 * std::clamp(channel, 0.0, 1.0);
                return rgb;
            };
            EXPECT_LE(worstOf(pictureOf(source, frame, converter), frame, wanted), 0.51);
        }
    });
}

TEST_F(PictureSweepTest, ConvertingOnTheGpu) {
    forEachSize(kFewEdges, [&](Size size) {
        APipeGLConverter converter;
        const auto width = static_cast<int>(size.width), height = static_cast<int>(size.height);
        ASSERT_EQ(converter.init(glFormat(width, height)), OK);
        for (const Source& source : kSources) {
            SCOPED_TRACE(source.format);
            const int bits = bitsOf(source.format);
            const double largest = (1 << bits) - 1, scale = bits == 10 ? 4 : 1;
            const Frame frame = oneColour(size, bits);
            const auto wanted = [&](double luma) {
                return kBt709Limited.rgbOf(luma / largest, kCb * scale / largest,
                                           kCr * scale / largest);
            };
            EXPECT_LE(worstOf(pictureOf(source, frame, converter), frame, wanted), 1.0);
        }
        converter.reset();
    });
}

// --- Buffers for the CPU ---

// Samples of one plane at their addresses.
struct PlaneOf {
    uint8_t* base;
    uint32_t width, height;
    size_t stride, step, bytes;
};

std::vector<PlaneOf> planesOf(const sp<APipeBuffer>& buffer) {
    uint8_t *y = nullptr, *cb = nullptr, *cr = nullptr;
    EXPECT_EQ(buffer->getYCbCr(&y, &cb, &cr), OK);
    const auto width = static_cast<uint32_t>(buffer->getWidth());
    const auto height = static_cast<uint32_t>(buffer->getHeight());
    const auto stride = static_cast<size_t>(buffer->getStride());
    const uint32_t halfWidth = (width + 1) / 2, halfHeight = (height + 1) / 2;
    switch (buffer->getColorFormat()) {
        case APipeBuffer::Rgba8888:
            return {{y, width, height, 4 * stride, 4, 4}};
        case APipeBuffer::Yuv420p:
        case APipeBuffer::Yv12:
            return {{y, width, height, stride, 1, 1},
                    {cb, halfWidth, halfHeight, stride / 2, 1, 1},
                    {cr, halfWidth, halfHeight, stride / 2, 1, 1}};
        default: {
            const auto format = buffer->getColorFormat();
            const size_t bytes =
                format == APipeBuffer::P010 || format == APipeBuffer::P010Venus ? 2 : 1;
            return {{y, width, height, stride, bytes, bytes},
                    {cb, halfWidth, halfHeight, stride, 2 * bytes, bytes},
                    {cr, halfWidth, halfHeight, stride, 2 * bytes, bytes}};
        }
    }
}

// Each sample of the picture lies within the buffer, and no two share a byte.
void expectPlaces(const sp<APipeBuffer>& buffer) {
    const uint8_t* const base = buffer->getLocalBuffer()->data();
    std::vector<bool> taken(static_cast<size_t>(buffer->getSize()));
    for (const PlaneOf& plane : planesOf(buffer)) {
        for (size_t i = 0; i < size_t{plane.width} * plane.height; ++i) {
            const size_t at = static_cast<size_t>(plane.base - base) +
                              i / plane.width * plane.stride + i % plane.width * plane.step;
            for (size_t byte = at; byte < at + plane.bytes; ++byte) {
                ASSERT_LT(byte, taken.size());
                ASSERT_FALSE(taken[byte]);
                taken[byte] = true;
            }
        }
    }
}

// With an odd elevation chroma is half a row short, so it is made even where the rule leaves it
// odd.
TEST_F(GeometrySweepTest, EachSampleHasAPlaceOfItsOwn) {
    constexpr APipeBuffer::ColorFormat formats[] = {
        APipeBuffer::Yuv420p,  APipeBuffer::Nv12, APipeBuffer::P010,     APipeBuffer::Nv12Venus,
        APipeBuffer::Rgba8888, APipeBuffer::Yv12, APipeBuffer::P010Venus};
    forEachSize(kEdges, [&](Size size) {
        const auto width = static_cast<int32_t>(size.width);
        const auto height = static_cast<int32_t>(size.height);
        for (const auto format : formats) {
            for (const int32_t longer : {0, 16, 112}) {
                SCOPED_TRACE(format);
                const int32_t stride = APipeBufferUtils::getStride(format, width);
                const int32_t rows = APipeBufferUtils::getElevation(format, height);
                const auto buffer = APipeBufferFactory::Create(
                    format, width, height, nullptr, nullptr, APipeBuffer::LocalMemory,
                    stride < 0 ? -1 : stride + longer, rows < 0 ? -1 : rows + rows % 2);
                ASSERT_EQ(buffer->init(), OK);
                expectPlaces(buffer);
                ++mRuns;
            }
        }
    });
}

}  // namespace
}  // namespace plexa
