// What reference counts, messages and logging cost. Compare figures of one run only.
#include <benchmark/benchmark.h>
#include <log/log.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Trace.h>

#include "support/costs.h"
#include "support/ratios.h"

namespace {

using android::AMessage;
using android::RefBase;
using android::sp;
using android::wp;
using plexa::bench::Costs;

struct Thing : RefBase {
    int32_t field = 0;
};

void strongCopy(benchmark::State& state) {
    const auto thing = sp<Thing>::make();
    for (auto _ : state) {
        const sp<Thing> copy(thing);
        benchmark::DoNotOptimize(copy.get());
    }
}

void weakPromote(benchmark::State& state) {
    const auto thing = sp<Thing>::make();
    const wp<Thing> weak(thing);
    for (auto _ : state) {
        const sp<Thing> strong = weak.promote();
        benchmark::DoNotOptimize(strong.get());
    }
}

void objectLife(benchmark::State& state) {
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(sp<Thing>::make().get());
}

// A buffer's metadata as a stage sees it.
sp<AMessage> makeMeta() {
    auto meta = sp<AMessage>::make();
    meta->setInt32("bufferId", 1);
    meta->setInt32("surfaceId", 2);
    meta->setInt64("timeUs", 3);
    meta->setInt32("eos", 0);
    meta->setInt32("operation", 4);
    return meta;
}

void messageFind(benchmark::State& state) {
    const auto meta = makeMeta();
    int32_t value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(meta->findInt32("operation", &value));
        benchmark::DoNotOptimize(value);
    }
}

void messageFindMissing(benchmark::State& state) {
    const auto meta = makeMeta();
    int32_t value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(meta->findInt32("use-wait-buffer", &value));
}

void messageSet(benchmark::State& state) {
    const auto meta = makeMeta();
    int64_t value = 0;
    for (auto _ : state)
        meta->setInt64("timeUs", ++value);
}

void messageLifeOfFiveValues(benchmark::State& state) {
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(makeMeta().get());
}

void messageDup(benchmark::State& state) {
    const auto meta = makeMeta();
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(meta->dup().get());
}

void logBelowThreshold(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        ALOGV("value %d", ++value);
        benchmark::ClobberMemory();
    }
}

void traceOff(benchmark::State& state) {
    for (auto _ : state) {
        ATRACE_CALL();
        benchmark::ClobberMemory();
    }
}

void configure(benchmark::internal::Benchmark* benchmark) {
    benchmark->MinTime(0.1);
}

}  // namespace

BENCHMARK(strongCopy)->Apply(configure);
BENCHMARK(weakPromote)->Apply(configure);
BENCHMARK(objectLife)->Apply(configure);
BENCHMARK(messageFind)->Apply(configure);
BENCHMARK(messageFindMissing)->Apply(configure);
BENCHMARK(messageSet)->Apply(configure);
BENCHMARK(messageLifeOfFiveValues)->Apply(configure);
BENCHMARK(messageDup)->Apply(configure);
BENCHMARK(logBelowThreshold)->Apply(configure);
BENCHMARK(traceOff)->Apply(configure);

int main(int argc, char** argv) {
    return plexa::bench::runWithRatios(argc, argv, {});
}
