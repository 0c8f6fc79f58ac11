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
void decompressTp10(benchmark::State& state) {
    decompress(state, kP010);
}
void compressNv12(benchmark::State& state) {
    compress(state, kNv12);
}
void compressTp10(benchmark::State& state) {
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
const std::vector<std::string> kSizes = {"1920/1080", "3840/2160"};
void layouts(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.2);
    benchmark->Args({1920, 1080})->Args({3840, 2160});
}

// Halving, other ratios down, and up.
const std::vector<std::string> kScales = {"3840/2160/1920/1080", "1920/1080/960/540",
                                          "1920/1080/1280/720", "3840/2160/1000/562",
                                          "1280/720/1920/1080"};
void scales(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.2);
    benchmark->Args({3840, 2160, 1920, 1080})->Args({1920, 1080, 960, 540});
    benchmark->Args({1920, 1080, 1280, 720})
        ->Args({3840, 2160, 1000, 562})
        ->Args({1280, 720, 1920, 1080});
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
    const auto compare = [&](const char* subject, const char* baseline, const std::string& args,
                             double atLeast = 0) {
        ratios.push_back({std::string(subject) + " / " + baseline + " " + args,
                          std::string(subject) + "/" + args,
                          {std::string(baseline) + "/" + args},
                          atLeast});
    };
    for (const std::string& size : kSizes) {
        compare("decompressNv12", "memcpyNv12", size, kOfMemcpy);
        compare("decompressTp10", "memcpyP010", size, kOfMemcpy);
        compare("compressNv12", "memcpyNv12", size);
        compare("compressTp10", "memcpyP010", size);
    }
    for (const std::string& sizes : kScales) {
        compare("scaleNv12", "libyuvNv12", sizes, kOfLibyuv);
        compare("scaleP010", "libyuvP010", sizes, kOfLibyuv);
    }
    return runWithRatios(argc, argv, ratios);
}
