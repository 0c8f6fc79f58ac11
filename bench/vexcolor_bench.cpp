// What libvexcolor's pixel work costs: layouts beside a memcpy of the same bytes, scaling beside
// libyuv called directly. One thread, by its CPU time, and a handful of frames in turn as in a
// chain.
#include <APipeCLConverter.h>
#include <AScalerCL.h>
#include <benchmark/benchmark.h>
#include <cl/converter/CLConverter.h>
#include <cl/scaler/CLScaler.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/frames.h"
#include "support/libyuv_scale.h"
#include "support/ratios.h"

namespace {

using namespace android;
using namespace plexa::bench;
using cl::converter::CLConverter;

// A client's handful of frames, and the pool of a decompress stage.
constexpr int kInputs = 4;
constexpr int kOutputs = 2;

// What is wanted at least.
constexpr double kOfMemcpy = 0.6;
constexpr double kOfLibyuv = 0.95;

Size sizeOf(const benchmark::State& state, int first) {
    return {static_cast<int>(state.range(first)), static_cast<int>(state.range(first + 1))};
}

std::unique_ptr<CLConverter> makeConverter(APipeBuffer::ColorFormat src,
                                           APipeBuffer::ColorFormat dst, Size size) {
    std::unique_ptr<CLConverter> converter(
        CLConverter::Create(getConverterColorFormat(src), getConverterColorFormat(dst)));
    converter->setup(size.width, size.height, size.width, size.height, 3);
    converter->setPerfHint(0);
    return converter;
}

// Runs `work(input, output)` on the graphics buffers in turn.
template <typename Work>
void runFrames(benchmark::State& state, const Buffers& inputs, const Buffers& outputs,
               const Work& work) {
    size_t i = 0;
    for (auto _ : state) {
        if (!work(inputs[i % kInputs]->getGraphicBuffer(),
                  outputs[i % kOutputs]->getGraphicBuffer()))
            state.SkipWithError("a frame failed");
        ++i;
    }
    state.SetItemsProcessed(state.iterations());
}

void decompress(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    const auto converter = makeConverter(depth.compressed, depth.linear, size);
    runFrames(state, compressedFrames(kInputs, size, depth), linearBuffers(kOutputs, size, depth),
              [&](const auto& input, const auto& output) {
                  return converter->convert(input, output) == 1;
              });
}

void compress(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    const auto converter = makeConverter(depth.linear, depth.compressed, size);
    runFrames(state, linearFrames(kInputs, size, depth), compressedFrames(kOutputs, size, depth),
              [&](const auto& input, const auto& output) {
                  return converter->convert(input, output) == 1;
              });
}

void copy(benchmark::State& state, const Depth& depth) {
    const Size size = sizeOf(state, 0);
    runFrames(state, linearFrames(kInputs, size, depth), linearFrames(kOutputs, size, depth),
              [&](const auto& input, const auto& output) {
                  memcpy(Planes(output).y, Planes(input).y, depth.frameBytes(size));
                  return true;
              });
}

// Frames of the two sizes, and how to scale one.
template <typename Scale>
void scaleFrames(benchmark::State& state, const Depth& depth, const Scale& scaleFrame) {
    runFrames(state, linearFrames(kInputs, sizeOf(state, 0), depth),
              linearFrames(kOutputs, sizeOf(state, 2), depth), scaleFrame);
}

void scaleByEntryPoints(benchmark::State& state, const Depth& depth) {
    const Size from = sizeOf(state, 0), to = sizeOf(state, 2);
    const auto code = getCLColorFormat(depth.linear);
    const std::unique_ptr<void, decltype(&destroyScaler)> scaler(
        createScaler(1, from.width, from.height, to.width, to.height, code, code), &destroyScaler);
    scaleFrames(state, depth, [&](const auto& input, const auto& output) {
        return scale(scaler.get(), input, output);
    });
}

void scaleByLibyuv(benchmark::State& state, const Depth& depth) {
    LibyuvScale scaler(depth, sizeOf(state, 0), sizeOf(state, 2));
    scaleFrames(state, depth, [&](const auto& input, const auto& output) {
        return scaler.scale(Planes(input), Planes(output));
    });
}

void libyuvNv12(benchmark::State& state) {
    scaleByLibyuv(state, kNv12);
}
void libyuvP010(benchmark::State& state) {
    scaleByLibyuv(state, kP010);
}
void decompressNv12(benchmark::State& state) {
    decompress(state, kNv12);
}
void decompressP010(benchmark::State& state) {
    decompress(state, kP010);
}
void compressNv12(benchmark::State& state) {
    compress(state, kNv12);
}
void compressP010(benchmark::State& state) {
    compress(state, kP010);
}
void memcpyNv12(benchmark::State& state) {
    copy(state, kNv12);
}
void memcpyP010(benchmark::State& state) {
    copy(state, kP010);
}
void scaleNv12(benchmark::State& state) {
    scaleByEntryPoints(state, kNv12);
}
void scaleP010(benchmark::State& state) {
    scaleByEntryPoints(state, kP010);
}

// The sizes of most videos, inside the caches and beyond them.
const std::vector<std::vector<int64_t>> kSizes = {{1920, 1080}, {3840, 2160}};

// Halving, which the bound is for, other ratios down, and up.
const std::vector<std::vector<int64_t>> kScales = {{3840, 2160, 1920, 1080},
                                                   {1920, 1080, 960, 540},
                                                   {1920, 1080, 1280, 720},
                                                   {3840, 2160, 1000, 562},
                                                   {1280, 720, 1920, 1080}};

void configure(benchmark::internal::Benchmark* benchmark,
               const std::vector<std::vector<int64_t>>& arguments) {
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.2);
    for (const auto& each : arguments)
        benchmark->Args(each);
}
void layouts(benchmark::internal::Benchmark* benchmark) {
    configure(benchmark, kSizes);
}
void scales(benchmark::internal::Benchmark* benchmark) {
    configure(benchmark, kScales);
}

// "3840/2160/1920/1080", as a benchmark's name has it, and "3840x2160 to 1920x1080".
std::string nameOf(const std::vector<int64_t>& arguments) {
    std::string name;
    for (int64_t argument : arguments)
        name += "/" + std::to_string(argument);
    return name;
}
std::string textOf(const std::vector<int64_t>& arguments) {
    const auto size = [&](size_t first) {
        return std::to_string(arguments[first]) + "x" + std::to_string(arguments[first + 1]);
    };
    return arguments.size() == 2 ? size(0) : size(0) + " to " + size(2);
}

}  // namespace

BENCHMARK(memcpyNv12)->Apply(layouts);
BENCHMARK(decompressNv12)->Apply(layouts);
BENCHMARK(compressNv12)->Apply(layouts);
BENCHMARK(memcpyP010)->Apply(layouts);
BENCHMARK(decompressP010)->Apply(layouts);
BENCHMARK(compressP010)->Apply(layouts);
BENCHMARK(libyuvNv12)->Apply(scales);
BENCHMARK(scaleNv12)->Apply(scales);
BENCHMARK(libyuvP010)->Apply(scales);
BENCHMARK(scaleP010)->Apply(scales);

int main(int argc, char** argv) {
    std::vector<Ratio> ratios;
    const auto compare = [&](const std::string& subject, const std::string& baseline,
                             const std::vector<int64_t>& sizes, double atLeast = 0) {
        for (const char* depth : {"Nv12", "P010"})
            ratios.push_back({subject + " / " + baseline + ", " + depth + " " + textOf(sizes),
                              subject + depth + nameOf(sizes),
                              {baseline + depth + nameOf(sizes)},
                              atLeast});
    };
    for (const auto& size : kSizes) {
        compare("decompress", "memcpy", size, kOfMemcpy);
        compare("compress", "memcpy", size);
    }
    for (const auto& sizes : kScales)
        compare("scale", "libyuv", sizes, sizes[0] == 2 * sizes[2] ? kOfLibyuv : 0);
    return runWithRatios(argc, argv, ratios);
}
