// What a stage costs: chains whose engines do nothing, streaming and in lock-step, beside a plain
// queue, a futex hand-off and the same chain of pass-through elements in GStreamer.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "support/hand_off.h"
#include "support/ratios.h"
#include "support/running_chain.h"
#ifdef PLEXA_HAVE_GSTREAMER
#include "support/pass_through_peer.h"
#endif

namespace {

using namespace plexa::bench;

constexpr int kFramesARun = 2000;
constexpr int kStreaming = 8;  // frames in flight
constexpr int kLockStep = 1;

void runChain(benchmark::State& state, int stages, int inFlight) {
    RunningChain chain = RunningChain::passThrough(stages, inFlight);
    for (auto _ : state) {
        if (!chain.run(kFramesARun)) state.SkipWithError("the chain failed");
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void streaming(benchmark::State& state) {
    runChain(state, static_cast<int>(state.range(0)), kStreaming);
}

void lockStep(benchmark::State& state) {
    runChain(state, static_cast<int>(state.range(0)), kLockStep);
}

void sideBySide(benchmark::State& state) {
    std::vector<std::unique_ptr<RunningChain>> chains;
    for (int i = 0; i < state.range(0); ++i)
        chains.emplace_back(new RunningChain(RunningChain::passThrough(2, kStreaming)));
    for (auto _ : state) {
        for (const auto& chain : chains)
            chain->begin(kFramesARun);
        for (const auto& chain : chains) {
            if (!chain->finish()) state.SkipWithError("a chain failed");
        }
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun * state.range(0));
}

void queueItem(benchmark::State& state) {
    for (auto _ : state)
        passThroughQueue(kFramesARun);
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void queueThereAndBack(benchmark::State& state) {
    for (auto _ : state)
        passThroughQueueAndBack(kFramesARun, kStreaming);
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void futexHandOff(benchmark::State& state) {
    FutexEcho echo;
    for (auto _ : state)
        echo.call();
    state.SetItemsProcessed(state.iterations() * 2);
}

#ifdef PLEXA_HAVE_GSTREAMER
void gstreamer(benchmark::State& state, int inFlight) {
    PassThroughPeer peer(static_cast<int>(state.range(0)), inFlight);
    for (auto _ : state) {
        if (!peer.run(kFramesARun)) state.SkipWithError("the pipeline failed");
    }
    state.SetItemsProcessed(state.iterations() * kFramesARun);
}

void gstreamerStreaming(benchmark::State& state) {
    gstreamer(state, kStreaming);
}

void gstreamerLockStep(benchmark::State& state) {
    gstreamer(state, kLockStep);
}
#endif

void configure(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(0.3);
}

}  // namespace

BENCHMARK(queueItem)->Apply(configure);
BENCHMARK(queueThereAndBack)->Apply(configure);
BENCHMARK(futexHandOff)->Apply(configure);
BENCHMARK(streaming)->Apply(configure)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK(lockStep)->Apply(configure)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK(sideBySide)->Apply(configure)->Arg(1)->Arg(4)->Arg(16)->Arg(64);
#ifdef PLEXA_HAVE_GSTREAMER
BENCHMARK(gstreamerStreaming)->Apply(configure)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK(gstreamerLockStep)->Apply(configure)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16);
#endif

// A ratio of times is the inverse one of throughputs. Lock-step through two stages takes three
// hand-offs: client to stage, stage to stage, stage to client.
int main(int argc, char** argv) {
    const std::vector<Ratio> ratios = {{.title = "two stages streaming / bare queue item (time)",
                                        .subject = "queueItem",
                                        .baselines = {"streaming/2"},
                                        .atMost = 12},
                                       {.title = "two stages streaming / bare queue there and back "
                                                 "with as many in flight (time)",
                                        .subject = "queueThereAndBack",
                                        .baselines = {"streaming/2"}},
                                       {.title = "two stages lock-step / futex hand-off (time)",
                                        .subject = "futexHandOff",
                                        .baselines = {"lockStep/2"},
                                        .atMost = 3 * 1.15},
                                       {.title = "64 chains / one chain (throughput)",
                                        .subject = "sideBySide/64",
                                        .baselines = {"sideBySide/1"},
                                        .atLeast = 0.8},
                                       {.title = "GStreamer / two stages streaming (time)",
                                        .subject = "streaming/2",
                                        .baselines = {"gstreamerStreaming/2"},
                                        .atLeast = 5},
                                       {.title = "GStreamer / two stages lock-step (time)",
                                        .subject = "lockStep/2",
                                        .baselines = {"gstreamerLockStep/2"},
                                        .atLeast = 10}};
    return runWithRatios(argc, argv, ratios,
                         {{"time a frame streaming, over stages", "streaming"},
                          {"time a frame in lock-step, over stages", "lockStep"}});
}
