// The GPU converter beside a program written by hand for the same driver: what the way over EGL
// images costs on the host. The two take turns frame by frame, so that a noisy moment hits both.
#include <APipeConverter.h>
#include <EGL/egl.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "support/frames.h"
#include "support/gl_program.h"

namespace {

using namespace android;
using namespace plexa::bench;

constexpr int kFrames = 100;
constexpr int kInputs = 3;
constexpr int kOutputs = 3;

// The context that its maker left current.
class Context {
public:
    void use() const { eglMakeCurrent(mDisplay, mSurface, mSurface, mContext); }

private:
    EGLDisplay mDisplay = eglGetCurrentDisplay();
    EGLSurface mSurface = eglGetCurrentSurface(EGL_DRAW);
    EGLContext mContext = eglGetCurrentContext();
};

class Durations {
public:
    // Runs `work` in its context; the switch to that is not counted.
    template <typename Work>
    bool add(const Context& context, Work work) {
        context.use();
        const auto start = std::chrono::steady_clock::now();
        const bool isDone = work();
        mMilliseconds.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
        return isDone;
    }
    double median() {
        const auto middle = mMilliseconds.begin() + std::ssize(mMilliseconds) / 2;
        std::nth_element(mMilliseconds.begin(), middle, mMilliseconds.end());
        return *middle;
    }

private:
    std::vector<double> mMilliseconds;
};

void converterBesideHand(benchmark::State& state) {
    const Size size = {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
    const auto inputs = linearFrames(kInputs, size);
    const auto outputs = rgbaBuffers(kOutputs, size);
    const auto engine = APipeConverter::Create(APipeConverter::kTypeGL);
    const auto format = formats(APipeBuffer::Nv12Venus, size, APipeBuffer::Rgba8888, size);
    if (engine->init(format) != OK) return state.SkipWithError("init failed");
    const Context converterContext;
    GlProgram program(size);
    if (!program.isReady()) return state.SkipWithError("the driver is not up to it");
    const Context handContext;

    Durations converter;
    Durations hand;
    for (auto _ : state) {
        for (size_t i = 0; i < kFrames; ++i) {
            const auto& in = inputs[i % kInputs];
            const auto& out = outputs[i % kOutputs];
            const bool isDone = converter.add(converterContext, [&] {
                return engine->convert(in, out) == OK;
            }) && hand.add(handContext, [&] { return program.convert(in, out); });
            if (!isDone) return state.SkipWithError("convert failed");
        }
    }
    state.counters["converter_ms"] = converter.median();
    state.counters["by_hand_ms"] = hand.median();
    state.counters["ratio"] = converter.median() / hand.median();
    converterContext.use();
    engine->reset();
}

}  // namespace

BENCHMARK(converterBesideHand)
    ->Args({1280, 720})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5);

BENCHMARK_MAIN();
