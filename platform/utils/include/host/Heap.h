// Heap: where messages, reference counts and list nodes come from.
#pragma once

#include <cstddef>
#include <new>

namespace android::host {

// mimalloc: each frame makes a handful of small objects on one thread and frees them on another,
// which the system's heap does with locks. Sanitizer builds use the system's heap, so that they see
// every misuse.
// Threading: thread-safe.
class Heap {
public:
    // `alignment` is a power of two. Null when there is no memory.
    static void* tryAllocate(size_t bytes, size_t alignment) noexcept;
    // The same, but throws bad_alloc.
    static void* allocate(size_t bytes, size_t alignment = alignof(std::max_align_t));
    // Takes back what either gave, on any thread; null is ignored.
    static void free(void* memory) noexcept;
};

// The heap for the nodes of the standard containers.
template <typename T>
struct HeapAllocator {
    using value_type = T;

    HeapAllocator() = default;
    template <typename U>
    HeapAllocator(const HeapAllocator<U>&) {}

    T* allocate(size_t n) { return static_cast<T*>(Heap::allocate(n * sizeof(T), alignof(T))); }
    void deallocate(T* memory, size_t) noexcept { Heap::free(memory); }
    template <typename U>
    bool operator==(const HeapAllocator<U>&) const {
        return true;
    }
    template <typename U>
    bool operator!=(const HeapAllocator<U>&) const {
        return false;
    }
};

}  // namespace android::host
