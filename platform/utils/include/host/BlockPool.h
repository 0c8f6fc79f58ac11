// BlockPool: recycled small blocks, so that messages, counts and list nodes cost no heap call.
#pragma once

#include <cstddef>

namespace android::host {

// Blocks in steps of one cache line. A freed block goes to the freeing thread's own list; a list
// that grows long gives a batch to a depot that all threads share, and an empty one takes a batch
// from there, so the threads of a producer and a consumer pass memory round in batches. The depot
// keeps a bounded number of blocks and returns the rest to the heap; a thread's list goes to the
// depot when the thread ends. Sanitizer builds use the heap, so that they see every misuse.
// Threading: thread-safe.
class BlockPool {
public:
    // Larger requests go to the heap.
    static constexpr size_t kMaxBytes = 1024;

    // `bytes` of memory aligned for any scalar type; throws bad_alloc as operator new does.
    static void* allocate(size_t bytes);
    // The same, but null where there is no memory.
    static void* tryAllocate(size_t bytes) noexcept;
    // Takes back what allocate(bytes) gave, on any thread; null is let pass.
    static void free(void* block, size_t bytes) noexcept;
};

// The pool as an allocator of the standard containers' nodes.
template <typename T>
struct PoolAllocator {
    using value_type = T;

    PoolAllocator() = default;
    template <typename U>
    PoolAllocator(const PoolAllocator<U>&) {}

    T* allocate(size_t n) { return static_cast<T*>(BlockPool::allocate(n * sizeof(T))); }
    void deallocate(T* block, size_t n) noexcept { BlockPool::free(block, n * sizeof(T)); }
    template <typename U>
    bool operator==(const PoolAllocator<U>&) const {
        return true;
    }
};

}  // namespace android::host
