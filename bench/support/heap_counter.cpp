// The heap's entry points: each counts itself and goes on to the C library's own.
#include "support/heap_counter.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#include <execinfo.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
}

namespace {

constexpr int kDepth = 24;

constinit std::atomic<uint64_t> gCalls{0};
constinit std::atomic<int> gToTrace{0};

[[gnu::noinline]] void trace() {
    if (gToTrace.fetch_sub(1) <= 0) return;
    void* addresses[kDepth];
    const int depth = backtrace(addresses, kDepth);
    backtrace_symbols_fd(addresses, depth, STDERR_FILENO);
    static_cast<void>(!write(STDERR_FILENO, "\n", 1));
}

void count() {
    gCalls.fetch_add(1, std::memory_order_relaxed);
    if (gToTrace.load(std::memory_order_relaxed) > 0) [[unlikely]]
        trace();
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] void* malloc(size_t bytes) {
    count();
    return __libc_malloc(bytes);
}

[[gnu::visibility("default")]] void* calloc(size_t number, size_t bytes) {
    count();
    return __libc_calloc(number, bytes);
}

[[gnu::visibility("default")]] void* realloc(void* block, size_t bytes) {
    count();
    return __libc_realloc(block, bytes);
}

[[gnu::visibility("default")]] void* memalign(size_t alignment, size_t bytes) {
    count();
    return __libc_memalign(alignment, bytes);
}

[[gnu::visibility("default")]] void* aligned_alloc(size_t alignment, size_t bytes) {
    count();
    return __libc_memalign(alignment, bytes);
}

[[gnu::visibility("default")]] int posix_memalign(void** block, size_t alignment, size_t bytes) {
    count();
    *block = __libc_memalign(alignment, bytes);
    return *block != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

namespace plexa::bench {

uint64_t heapCalls() {
    return gCalls.load(std::memory_order_relaxed);
}

void traceHeapCalls(int calls) {
    void* address = nullptr;
    backtrace(&address, 1);  // the first call loads a library, which takes memory
    gToTrace.store(calls);
}

}  // namespace plexa::bench
