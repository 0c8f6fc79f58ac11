// Real work: 3840x2160 to 1920x1080 through decompress and scale, against each engine alone and
// against a videoscale pipeline with one thread a stage. Frames are in memory before the clock
// starts.
#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <AScaler.h>
#include <benchmark/benchmark.h>
#include <ui/GraphicBuffer.h>

#include <semaphore>
#include <thread>

#include "support/chain_client.h"
#include "support/frames.h"
#include "support/ratios.h"
#ifdef PLEXA_HAVE_GSTREAMER
#include "support/videoscale_peer.h"
#endif

namespace {

using namespace android;
using namespace plexa::bench;

constexpr Size kSource = {3840, 2160};
constexpr Size kTarget = {1920, 1080};
constexpr int kFramesARun = 60;
constexpr int kInputs = 4;
constexpr int kOutputs = 4;
constexpr int kBetween = 2;  // as the decompress stage's pool

void decompressAlone(benchmark::State& state) {
    const auto inputs = compressedFrames(kInputs, kSource);
    const auto outputs = linearBuffers(kBetween, kSource);
    const auto engine = APipeConverter::Create(APipeConverter::kTypeCL);
    engine->init(formats(APipeBuffer::Nv12Ubwc, kSource, APipeBuffer::Nv12Venus, kSource));
    size_t frame = 0;
    for (auto _ : state) {
        for (int i = 0; i < kFramesARun; ++i, ++frame) {
            if (engine->convert(inputs[frame % kInputs], outputs[frame % kBetween]) != OK) {
                state.SkipWithError("convert failed");
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void scaleAlone(benchmark::State& state) {
    const auto inputs = linearFrames(kBetween, kSource);
    const auto outputs = linearBuffers(kOutputs, kTarget);
    const auto engine = AScaler::Create(AScaler::kTypeCL);
    engine->init(formats(APipeBuffer::Nv12Venus, kSource, APipeBuffer::Nv12Venus, kTarget));
    size_t frame = 0;
    for (auto _ : state) {
        for (int i = 0; i < kFramesARun; ++i, ++frame) {
            if (engine->scale(inputs[frame % kBetween], outputs[frame % kOutputs]) != OK) {
                state.SkipWithError("scale failed");
            }
        }
    }
    engine->deinit();
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

// The two engines on two bare threads with as many buffers between them as the stages have: what
// this machine can overlap, whatever passes the frames on.
void bareThreads(benchmark::State& state) {
    const auto inputs = compressedFrames(kInputs, kSource);
    const auto between = linearBuffers(kBetween, kSource);
    const auto outputs = linearBuffers(kOutputs, kTarget);
    const auto converter = APipeConverter::Create(APipeConverter::kTypeCL);
    const auto scaler = AScaler::Create(AScaler::kTypeCL);
    converter->init(formats(APipeBuffer::Nv12Ubwc, kSource, APipeBuffer::Nv12Venus, kSource));
    scaler->init(formats(APipeBuffer::Nv12Venus, kSource, APipeBuffer::Nv12Venus, kTarget));
    for (auto _ : state) {
        std::counting_semaphore<kBetween> empty(kBetween);
        std::counting_semaphore<kBetween> filled(0);
        std::thread first([&] {
            for (int i = 0; i < kFramesARun; ++i) {
                empty.acquire();
                converter->convert(inputs[i % kInputs], between[i % kBetween]);
                filled.release();
            }
        });
        for (int i = 0; i < kFramesARun; ++i) {
            filled.acquire();
            scaler->scale(between[i % kBetween], outputs[i % kOutputs]);
            empty.release();
        }
        first.join();
    }
    scaler->deinit();
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void chain(benchmark::State& state) {
    const sp<ChainClient> client = ChainClient::create();
    const sp<APipe> scale = new APipeScale(nullptr, client->notify());
    const sp<APipe> decompress = new APipeDecompress(scale, client->notify());
    scale->setItemGenerator(new APipeItemGenerator("scale"));
    decompress->setItemGenerator(new APipeItemGenerator("decompress"));
    if (!client->start(decompress, format(APipeBuffer::Nv12Ubwc, kSource),
                       format(APipeBuffer::Nv12Venus, kTarget), compressedFrames(kInputs, kSource),
                       linearBuffers(kOutputs, kTarget))) {
        state.SkipWithError("the chain did not start");
    }
    for (auto _ : state) {
        if (!client->run(kFramesARun)) state.SkipWithError("the chain failed");
    }
    client->stop();
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

#ifdef PLEXA_HAVE_GSTREAMER
void videoscalePeer(benchmark::State& state) {
    VideoscalePeer peer(kSource, kTarget, linearFrames(kInputs, kSource));
    for (auto _ : state) {
        if (!peer.run(kFramesARun)) state.SkipWithError("the pipeline failed");
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}
#endif

void configure(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
}

}  // namespace

BENCHMARK(decompressAlone)->Apply(configure);
BENCHMARK(scaleAlone)->Apply(configure);
BENCHMARK(bareThreads)->Apply(configure);
BENCHMARK(chain)->Apply(configure);
#ifdef PLEXA_HAVE_GSTREAMER
BENCHMARK(videoscalePeer)->Apply(configure);
#endif

int main(int argc, char** argv) {
    return runWithRatios(
        argc, argv,
        {{"chain / slower stage alone", "chain", {"decompressAlone", "scaleAlone"}},
         {"chain / both engines on two bare threads", "chain", {"bareThreads"}},
         {"chain / videoscale pipeline", "chain", {"videoscalePeer"}}});
}
