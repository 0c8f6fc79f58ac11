// What libvexcolor's pixel work costs: layouts beside a memcpy of the same bytes, scaling beside
// libyuv called directly. One thread, by its CPU time, and a handful of frames in turn as in a
// chain.
#include <benchmark/benchmark.h>
#include <cl/converter/CLConverter.h>
#include <cl/scaler/CLScaler.h>
#include <hardware/gralloc.h>
#include <host/GraphicBufferPixels.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <libyuv/scale_uv.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/frames.h"
#include "support/ratios.h"

namespace {

using namespace android;
using namespace plexa::bench;
using cl::common::CLColorFormat;
using cl::converter::CLConverter;

// A client's handful of frames, and the pool of a decompress stage.
constexpr size_t kInputs = 4;
constexpr size_t kOutputs = 2;

struct Depth {
    size_t bytesPerSample;
    CLColorFormat linearCode;
    CLColorFormat tiledCode;
    PixelFormat linear;
    PixelFormat tiled;
};
constexpr Depth kEight = {1, cl::common::CL_COLOR_NV12_VENUS, cl::common::CL_COLOR_NV12_COMPRESSED,
                          HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS,
                          HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED};
constexpr Depth kTen = {2, cl::common::CL_COLOR_P010_VENUS, cl::common::CL_COLOR_TP10_COMPRESSED,
                        HAL_PIXEL_FORMAT_YCBCR_P010, HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED};

using Graphics = std::vector<sp<GraphicBuffer>>;

Size sizeOf(const benchmark::State& state, int first) {
    return {static_cast<int>(state.range(first)), static_cast<int>(state.range(first + 1))};
}

size_t frameBytes(const Depth& depth, Size size) {
    return static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3 / 2 *
           depth.bytesPerSample;
}

// Buffers full of noise: every metadata byte is for "stored" all the same, as it is zeroed.
Graphics makeFrames(PixelFormat format, Size size, size_t count) {
    Graphics frames;
    uint32_t noise = 1;
    for (size_t i = 0; i < count; ++i) {
        frames.push_back(sp<GraphicBuffer>::make(static_cast<uint32_t>(size.width),
                                                 static_cast<uint32_t>(size.height), format, 1U,
                                                 uint64_t{GRALLOC_USAGE_HW_TEXTURE}));
        const auto pixels = host::pixelsOf(*frames.back());
        for (size_t byte = 0; byte < pixels->size; ++byte) {
            pixels->base[byte] = static_cast<uint8_t>((noise = noise * 1664525 + 1013904223) >> 24);
        }
    }
    return frames;
}

std::unique_ptr<CLConverter> makeConverter(CLColorFormat src, CLColorFormat dst, Size size) {
    std::unique_ptr<CLConverter> converter(CLConverter::Create(src, dst));
    converter->setup(size.width, size.height, size.width, size.height, 3);
    converter->setPerfHint(0);
    return converter;
}

// Runs `work(input, output)` on the buffers in turn.
template <typename Work>
void runFrames(benchmark::State& state, const Graphics& inputs, const Graphics& outputs,
               const Work& work) {
    size_t i = 0;
    for (auto _ : state) {
        if (!work(inputs[i % kInputs], outputs[i % kOutputs]))
            state.SkipWithError("a frame failed");
        ++i;
    }
    state.SetItemsProcessed(state.iterations());
}

void decompress(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    const Graphics inputs = makeFrames(depth.tiled, size, kInputs);
    const Graphics outputs = makeFrames(depth.linear, size, kOutputs);
    const auto packer = makeConverter(depth.linearCode, depth.tiledCode, size);
    for (const auto& input : inputs)
        packer->convert(outputs[0], input);
    const auto converter = makeConverter(depth.tiledCode, depth.linearCode, size);
    runFrames(state, inputs, outputs, [&](const auto& input, const auto& output) {
        return converter->convert(input, output) == 1;
    });
}

void compress(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    const auto converter = makeConverter(depth.linearCode, depth.tiledCode, size);
    runFrames(state, makeFrames(depth.linear, size, kInputs),
              makeFrames(depth.tiled, size, kOutputs), [&](const auto& input, const auto& output) {
                  return converter->convert(input, output) == 1;
              });
}

void copy(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    runFrames(state, makeFrames(depth.linear, size, kInputs),
              makeFrames(depth.linear, size, kOutputs), [&](const auto& input, const auto& output) {
                  memcpy(host::pixelsOf(*output)->base, host::pixelsOf(*input)->base,
                         frameBytes(depth, size));
                  return true;
              });
}

// Frames of the two sizes, and how to scale one.
template <typename Scale>
void scaleFrames(benchmark::State& state, const Depth& depth, const Scale& scaleFrame) {
    runFrames(state, makeFrames(depth.linear, sizeOf(state, 0), kInputs),
              makeFrames(depth.linear, sizeOf(state, 2), kOutputs), scaleFrame);
}

void scaleByEntryPoints(benchmark::State& state, const Depth& depth) {
    const Size from = sizeOf(state, 0), to = sizeOf(state, 2);
    const std::unique_ptr<void, decltype(&destroyScaler)> scaler(
        createScaler(1, from.width, from.height, to.width, to.height, depth.linearCode,
                     depth.linearCode),
        &destroyScaler);
    scaleFrames(state, depth, [&](const auto& input, const auto& output) {
        return scale(scaler.get(), input, output);
    });
}

// libyuv's strides are in samples.
struct Planes {
    explicit Planes(const sp<GraphicBuffer>& buffer) {
        const auto pixels = host::pixelsOf(*buffer);
        y = pixels->base + pixels->layout.y.offset;
        uv = pixels->base + pixels->layout.cb.offset;
        stride = static_cast<int>(pixels->layout.stridePixels);
    }
    uint8_t* y;
    uint8_t* uv;
    int stride;
};

uint16_t* samples16(uint8_t* bytes) {
    return reinterpret_cast<uint16_t*>(bytes);
}

void libyuvNv12(benchmark::State& state) {
    const Size from = sizeOf(state, 0), to = sizeOf(state, 2);
    scaleFrames(state, kEight, [&](const auto& input, const auto& output) {
        const Planes in(input), out(output);
        return libyuv::NV12Scale(in.y, in.stride, in.uv, in.stride, from.width, from.height, out.y,
                                 out.stride, out.uv, out.stride, to.width, to.height,
                                 libyuv::kFilterBox) == 0;
    });
}

// libyuv scales no interleaved 16-bit chroma: it is taken apart and put together around it.
void libyuvP010(benchmark::State& state) {
    const Size from = sizeOf(state, 0), to = sizeOf(state, 2);
    const int fromWidth = from.width / 2, fromHeight = from.height / 2;
    const int toWidth = to.width / 2, toHeight = to.height / 2;
    const auto samples = [](int width, int height) {
        return std::vector<uint16_t>(static_cast<size_t>(width) * static_cast<size_t>(height));
    };
    auto u = samples(fromWidth, fromHeight), v = u, toU = samples(toWidth, toHeight), toV = toU;
    scaleFrames(state, kTen, [&](const auto& input, const auto& output) {
        const Planes in(input), out(output);
        libyuv::ScalePlane_16(samples16(in.y), in.stride, from.width, from.height, samples16(out.y),
                              out.stride, to.width, to.height, libyuv::kFilterBox);
        libyuv::SplitUVPlane_16(samples16(in.uv), in.stride, u.data(), fromWidth, v.data(),
                                fromWidth, fromWidth, fromHeight, 16);
        for (auto [plane, scaled] : {std::pair(&u, &toU), std::pair(&v, &toV)}) {
            libyuv::ScalePlane_16(plane->data(), fromWidth, fromWidth, fromHeight, scaled->data(),
                                  toWidth, toWidth, toHeight, libyuv::kFilterBox);
        }
        libyuv::MergeUVPlane_16(toU.data(), toWidth, toV.data(), toWidth, samples16(out.uv),
                                out.stride, toWidth, toHeight, 16);
        return true;
    });
}

void decompressNv12(benchmark::State& state) {
    decompress(state, kEight);
}
void decompressTp10(benchmark::State& state) {
    decompress(state, kTen);
}
void compressNv12(benchmark::State& state) {
    compress(state, kEight);
}
void compressTp10(benchmark::State& state) {
    compress(state, kTen);
}
void memcpyNv12(benchmark::State& state) {
    copy(state, kEight);
}
void memcpyP010(benchmark::State& state) {
    copy(state, kTen);
}
void scaleNv12(benchmark::State& state) {
    scaleByEntryPoints(state, kEight);
}
void scaleP010(benchmark::State& state) {
    scaleByEntryPoints(state, kTen);
}

// The sizes of most videos, inside the caches and beyond them.
const std::vector<std::string> kSizes = {"1920/1080", "3840/2160"};
void layouts(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.2);
    benchmark->Args({1920, 1080})->Args({3840, 2160});
}

// Halving, other ratios down, and up.
const std::vector<std::string> kScales = {"3840/2160/1920/1080", "1920/1080/1280/720",
                                          "3840/2160/1000/562", "1280/720/1920/1080"};
void scales(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.2);
    benchmark->Args({3840, 2160, 1920, 1080})->Args({1920, 1080, 1280, 720});
    benchmark->Args({3840, 2160, 1000, 562})->Args({1280, 720, 1920, 1080});
}

}  // namespace

BENCHMARK(memcpyNv12)->Apply(layouts);
BENCHMARK(decompressNv12)->Apply(layouts);
BENCHMARK(compressNv12)->Apply(layouts);
BENCHMARK(memcpyP010)->Apply(layouts);
BENCHMARK(decompressTp10)->Apply(layouts);
BENCHMARK(compressTp10)->Apply(layouts);
BENCHMARK(libyuvNv12)->Apply(scales);
BENCHMARK(scaleNv12)->Apply(scales);
BENCHMARK(libyuvP010)->Apply(scales);
BENCHMARK(scaleP010)->Apply(scales);

int main(int argc, char** argv) {
    std::vector<Ratio> ratios;
    const auto compare = [&](const char* subject, const char* baseline, const std::string& args) {
        ratios.push_back({std::string(subject) + " / " + baseline + " " + args,
                          std::string(subject) + "/" + args,
                          {std::string(baseline) + "/" + args}});
    };
    for (const std::string& size : kSizes) {
        compare("decompressNv12", "memcpyNv12", size);
        compare("decompressTp10", "memcpyP010", size);
        compare("compressNv12", "memcpyNv12", size);
        compare("compressTp10", "memcpyP010", size);
    }
    for (const std::string& sizes : kScales) {
        compare("scaleNv12", "libyuvNv12", sizes);
        compare("scaleP010", "libyuvP010", sizes);
    }
    return runWithRatios(argc, argv, ratios);
}
