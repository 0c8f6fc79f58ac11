// mimalloc, or under sanitizers the system's heap.
#include <host/Heap.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLEXA_SYSTEM_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PLEXA_SYSTEM_HEAP 1
#endif
#endif

#ifdef PLEXA_SYSTEM_HEAP
#include <cstdlib>
#else
#include <mimalloc.h>
#endif

namespace android::host {

#ifdef PLEXA_SYSTEM_HEAP

void* Heap::tryAllocate(size_t bytes, size_t alignment) noexcept {
    void* memory = nullptr;
    return posix_memalign(&memory, alignment, bytes) == 0 ? memory : nullptr;
}

void Heap::free(void* memory) noexcept {
    ::free(memory);
}

#else

void* Heap::tryAllocate(size_t bytes, size_t alignment) noexcept {
    return mi_malloc_aligned(bytes, alignment);
}

void Heap::free(void* memory) noexcept {
    mi_free(memory);
}

#endif

void* Heap::allocate(size_t bytes, size_t alignment) {
    void* memory = tryAllocate(bytes, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace android::host
