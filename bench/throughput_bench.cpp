// Real work: frames decompressed and scaled to half their size by the chain, beside each engine
// alone, both on two bare threads, one thread of libyuv, memcpy, and filters of other frameworks
// that scale. Frames are in memory before the clock starts.
#include <APipeConverter.h>
#include <AScaler.h>
#include <benchmark/benchmark.h>

#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "support/libyuv_scale.h"
#include "support/ratios.h"
#include "support/running_chain.h"
#ifdef PLEXA_HAVE_GSTREAMER
#include "support/videoscale_peer.h"
#endif
#ifdef PLEXA_HAVE_AVFILTER
#include "support/ffmpeg_scale_peer.h"
#endif

namespace {

using namespace android;
using namespace plexa::bench;

constexpr int kFramesARun = 120;
constexpr int kInFlight = 4;  // of the client's inputs, and of its outputs
constexpr int kBetween = 2;   // as the decompress stage's pool

struct Work {
    const char* name;
    Depth depth;
    Size from;
    Size to;
};

const std::vector<Work> kWorks = {{"NV12 1080p", kNv12, {1920, 1080}, {960, 540}},
                                  {"NV12 4K", kNv12, {3840, 2160}, {1920, 1080}},
                                  {"P010 1080p", kP010, {1920, 1080}, {960, 540}},
                                  {"P010 4K", kP010, {3840, 2160}, {1920, 1080}}};

// The engines of the two stages, set up as those do.
class Decompressor {
public:
    explicit Decompressor(const Work& work) {
        mEngine->init(formats(work.depth.compressed, work.from, work.depth.linear, work.from));
    }
    bool operator()(const sp<APipeBuffer>& in, const sp<APipeBuffer>& out) {
        return mEngine->convert(in, out) == OK;
    }

private:
    std::shared_ptr<APipeConverter> mEngine = APipeConverter::Create(APipeConverter::kTypeCL);
};

class Scaler {
public:
    explicit Scaler(const Work& work) {
        mEngine->init(formats(work.depth.linear, work.from, work.depth.linear, work.to));
    }
    ~Scaler() { mEngine->deinit(); }
    bool operator()(const sp<APipeBuffer>& in, const sp<APipeBuffer>& out) {
        return mEngine->scale(in, out) == OK;
    }

private:
    std::shared_ptr<AScaler> mEngine = AScaler::Create(AScaler::kTypeCL);
};

// Runs `runFrames(kFramesARun)` again and again.
template <typename RunFrames>
void measure(benchmark::State& state, const RunFrames& runFrames) {
    for (auto _ : state) {
        if (!runFrames(kFramesARun)) state.SkipWithError("a frame failed");
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

// Calls `work(input, output)` with the buffers in turn.
template <typename FrameWork>
void measureInTurn(benchmark::State& state, const Buffers& inputs, const Buffers& outputs,
                   FrameWork&& work) {
    size_t next = 0;
    measure(state, [&](int frames) {
        bool done = true;
        for (int i = 0; i < frames; ++i, ++next)
            done = work(inputs[next % inputs.size()], outputs[next % outputs.size()]) && done;
        return done;
    });
}

void decompressAlone(benchmark::State& state, const Work& work) {
    measureInTurn(state, compressedFrames(kInFlight, work.from, work.depth),
                  linearBuffers(kBetween, work.from, work.depth), Decompressor(work));
}

void scaleAlone(benchmark::State& state, const Work& work) {
    measureInTurn(state, linearFrames(kBetween, work.from, work.depth),
                  linearBuffers(kInFlight, work.to, work.depth), Scaler(work));
}

// As many buffers between the threads as between the stages: what this machine can overlap,
// whatever passes the frames on.
void bareThreads(benchmark::State& state, const Work& work) {
    const auto inputs = compressedFrames(kInFlight, work.from, work.depth);
    const auto between = linearBuffers(kBetween, work.from, work.depth);
    const auto outputs = linearBuffers(kInFlight, work.to, work.depth);
    Decompressor decompress(work);
    Scaler scale(work);
    measure(state, [&](int frames) {
        std::counting_semaphore<kBetween> empty(kBetween);
        std::counting_semaphore<kBetween> filled(0);
        bool isFirstDone = true;
        std::thread first([&] {
            for (int i = 0; i < frames; ++i) {
                empty.acquire();
                isFirstDone =
                    decompress(inputs[i % kInFlight], between[i % kBetween]) && isFirstDone;
                filled.release();
            }
        });
        bool done = true;
        for (int i = 0; i < frames; ++i) {
            filled.acquire();
            done = scale(between[i % kBetween], outputs[i % kInFlight]) && done;
            empty.release();
        }
        first.join();
        return done && isFirstDone;
    });
}

void chain(benchmark::State& state, const Work& work) {
    RunningChain running =
        RunningChain::decompressAndScale(work.depth, work.from, work.to, kInFlight);
    measure(state, [&](int frames) { return running.run(frames); });
}

void copyFrame(const Work& work, const sp<APipeBuffer>& in, const sp<APipeBuffer>& out) {
    memcpy(Planes(out->getGraphicBuffer()).y, Planes(in->getGraphicBuffer()).y,
           work.depth.frameBytes(work.from));
}

void memcpyAlone(benchmark::State& state, const Work& work) {
    measureInTurn(state, linearFrames(kInFlight, work.from, work.depth),
                  linearFrames(kBetween, work.from, work.depth),
                  [&](const auto& in, const auto& out) {
                      copyFrame(work, in, out);
                      return true;
                  });
}

// The same bytes on one thread: a copy in the decompression's place, and libyuv's scaling.
void copyAndLibyuv(benchmark::State& state, const Work& work) {
    const auto between = linearFrames(1, work.from, work.depth).front();
    LibyuvScale scaler(work.depth, work.from, work.to);
    measureInTurn(state, linearFrames(kInFlight, work.from, work.depth),
                  linearBuffers(kInFlight, work.to, work.depth),
                  [&](const auto& in, const auto& out) {
                      copyFrame(work, in, between);
                      return scaler.scale(Planes(between->getGraphicBuffer()),
                                          Planes(out->getGraphicBuffer()));
                  });
}

#ifdef PLEXA_HAVE_GSTREAMER
void videoscale(benchmark::State& state, const Work& work) {
    VideoscalePeer peer(work.depth, work.from, work.to,
                        linearFrames(kInFlight, work.from, work.depth));
    measure(state, [&](int frames) { return peer.run(frames); });
}
#endif

#ifdef PLEXA_HAVE_AVFILTER
void ffmpegScale(benchmark::State& state, const Work& work) {
    FfmpegScalePeer peer(work.depth, work.from, work.to,
                         linearFrames(kBetween, work.from, work.depth));
    measure(state, [&](int frames) { return peer.run(frames); });
}
#endif

std::string nameOf(const char* function, const Work& work) {
    return std::string(function) + "/" + work.name;
}

void add(const char* function, void (*run)(benchmark::State&, const Work&)) {
    for (const Work& work : kWorks)
        benchmark::RegisterBenchmark(nameOf(function, work).c_str(), run, work)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->MinTime(0.5);
}

void addAll() {
    add("memcpy", memcpyAlone);
    add("decompress", decompressAlone);
    add("scale", scaleAlone);
    add("two bare threads", bareThreads);
    add("chain", chain);
    add("memcpy and libyuv", copyAndLibyuv);
#ifdef PLEXA_HAVE_GSTREAMER
    add("videoscale", videoscale);
#endif
#ifdef PLEXA_HAVE_AVFILTER
    add("FFmpeg scale", ffmpegScale);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    addAll();
    std::vector<Ratio> ratios;
    for (const Work& work : kWorks) {
        const auto compare = [&](const char* title, const char* subject,
                                 std::vector<const char*> baselines, double atLeast = 0) {
            Ratio ratio = {
                std::string(title) + ", " + work.name, nameOf(subject, work), {}, atLeast};
            for (const char* baseline : baselines)
                ratio.baselines.push_back(nameOf(baseline, work));
            ratios.push_back(ratio);
        };
        compare("chain / slower stage alone", "chain", {"decompress", "scale"}, 0.95);
        compare("chain / both engines on two bare threads", "chain", {"two bare threads"});
        compare("chain / memcpy and libyuv on one thread", "chain", {"memcpy and libyuv"});
        compare("chain / memcpy of the frame", "chain", {"memcpy"});
        compare("chain / videoscale pipeline", "chain", {"videoscale"});
        compare("scale engine / FFmpeg's scale filter", "scale", {"FFmpeg scale"});
    }
    return runWithRatios(argc, argv, ratios);
}
