// What a frame costs the system once a chain runs: heap calls, system calls and context switches of
// the whole process, its client's included; counted. Fails when frames ask the heap for anything.
//
// Usage: steady_bench [JSON]     writes the table to a file too
#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <new>
#include <vector>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <nlohmann/json.hpp>

#include "support/counted_child.h"
#include "support/heap_counter.h"
#include "support/running_chain.h"

namespace {

using namespace plexa::bench;

constexpr int kFrames = 10000;
constexpr int kFramesWithSlowCalls = 2000;
constexpr int kTracedHeapCalls = 1;
constexpr int kStreaming = 8;  // frames in flight
constexpr int kLockStep = 1;
// Small, as the counts do not depend on it.
constexpr Size kSource = {320, 180};
constexpr Size kTarget = {160, 90};

struct Case {
    const char* name;
    std::function<RunningChain()> start;
};

const std::vector<Case> kCases = {
    {"two pass-through stages, streaming", [] { return RunningChain::passThrough(2, kStreaming); }},
    {"two pass-through stages, lock-step", [] { return RunningChain::passThrough(2, kLockStep); }},
    {"decompress and scale, NV12, streaming",
     [] { return RunningChain::decompressAndScale(kNv12, kSource, kTarget, kStreaming); }},
    {"decompress and scale, NV12, lock-step",
     [] { return RunningChain::decompressAndScale(kNv12, kSource, kTarget, kLockStep); }},
    {"decompress and scale, P010, streaming",
     [] { return RunningChain::decompressAndScale(kP010, kSource, kTarget, kStreaming); }},
};

// A thread sleeps when it gives its core away, and is preempted when the core is taken from it.
enum Kind { kHeap, kSleeps, kPreemptions, kCalls, kFutexCalls, kYields, kKinds };
constexpr std::array<const char*, kKinds> kKindNames = {
    "heap calls", "sleeps", "preemptions", "system calls", "of which futex", "of which yields"};
using Counts = std::array<uint64_t, kKinds>;

// Lies in memory that a child writes to as well.
struct Shared {
    SystemCalls calls;
    bool isDone = false;
    Counts counts{};  // of all frames
};

Counts now(const SystemCalls& calls) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    Counts counts{};
    counts[kHeap] = heapCalls();
    counts[kSleeps] = static_cast<uint64_t>(usage.ru_nvcsw);
    counts[kPreemptions] = static_cast<uint64_t>(usage.ru_nivcsw);
    for (const auto& made : calls.made)
        counts[kCalls] += made;
    counts[kFutexCalls] = calls.made[SYS_futex];
    counts[kYields] = calls.made[SYS_sched_yield];
    return counts;
}

// Half as many frames go before, until threads have the memory that they need.
void countFrames(const Case& which, int frames, Shared& shared) {
    RunningChain chain = which.start();
    if (!chain.run(frames / 2)) return;
    traceHeapCalls(kTracedHeapCalls);
    const Counts before = now(shared.calls);
    shared.isDone = chain.run(frames);
    const Counts after = now(shared.calls);
    traceHeapCalls(0);
    for (size_t kind = 0; kind < kKinds; ++kind)
        shared.counts[kind] = after[kind] - before[kind];
}

Shared* newShared() {
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory != MAP_FAILED ? new (memory) Shared : nullptr;
}

void add(nlohmann::ordered_json& row, const Shared& shared, int frames, int firstKind, int end) {
    for (auto kind = static_cast<size_t>(firstKind); kind < static_cast<size_t>(end); ++kind) {
        auto& value = row[kKindNames[kind]];
        if (shared.isDone) value = static_cast<double>(shared.counts[kind]) / frames;
    }
}

// Counting system calls slows them, and so changes how often threads sleep: each kind of count is
// from the run that does not disturb it. What could not be counted is null.
nlohmann::ordered_json measure(const Case& which) {
    nlohmann::ordered_json row = {{"chain", which.name}};
    Shared& plain = *newShared();
    runInChild([&] { countFrames(which, kFrames, plain); });
    add(row, plain, kFrames, 0, kCalls);
    Shared& slow = *newShared();
    runInCountedChild([&] { countFrames(which, kFramesWithSlowCalls, slow); }, slow.calls);
    add(row, slow, kFramesWithSlowCalls, kCalls, kKinds);
    return row;
}

void print(const nlohmann::ordered_json& row) {
    std::printf("%-40s", row["chain"].get<std::string>().c_str());
    for (const char* kind : kKindNames) {
        if (row[kind].is_null()) {
            std::printf("%16s", "-");
        } else {
            std::printf("%16.4f", row[kind].get<double>());
        }
    }
    std::puts("");
}

}  // namespace

int main(int argc, char** argv) {
    std::printf("%-40s", "counts per frame");
    for (const char* kind : kKindNames)
        std::printf("%16s", kind);
    std::puts("");
    nlohmann::ordered_json rows;
    bool isHeapIdle = true;
    for (const Case& which : kCases) {
        rows.push_back(measure(which));
        print(rows.back());
        isHeapIdle = isHeapIdle && rows.back()[kKindNames[kHeap]] == 0;
    }
    if (argc > 1) std::ofstream(argv[1]) << rows.dump(1) << '\n';
    if (!isHeapIdle) std::puts("FAILED: every chain has to run, and without the heap");
    return isHeapIdle ? 0 : 1;
}
