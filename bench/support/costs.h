// Shows what a benchmark's items cost besides time.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace plexa::bench {

/// Adds the process's heap calls and sleeps an item, from its construction on, to the counters.
///
/// Threading: reentrant.
class Costs {
public:
    explicit Costs(benchmark::State& state);
    ~Costs();

    Costs(const Costs&) = delete;
    Costs& operator=(const Costs&) = delete;

private:
    void show(const char* name, uint64_t count);

    benchmark::State& mState;
    const uint64_t mHeapBefore;
    const uint64_t mSleepsBefore;
};

}  // namespace plexa::bench
