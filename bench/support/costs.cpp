// Shows what a benchmark's items cost besides time.
#include "support/costs.h"

#include <sys/resource.h>

#include "support/heap_counter.h"

namespace plexa::bench {

namespace {

uint64_t sleepsOfProcess() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<uint64_t>(usage.ru_nvcsw);
}

}  // namespace

Costs::Costs(benchmark::State& state)
    : mState(state), mHeapBefore(heapCalls()), mSleepsBefore(sleepsOfProcess()) {}

Costs::~Costs() {
    show("heap/item", heapCalls() - mHeapBefore);
    show("sleeps/item", sleepsOfProcess() - mSleepsBefore);
}

void Costs::show(const char* name, uint64_t count) {
    mState.counters[name] =
        benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
}

}  // namespace plexa::bench
