// First version: straight to the heap.
#include <host/BlockPool.h>

#include <new>

namespace android::host {

void* BlockPool::allocate(size_t bytes) {
    return ::operator new(bytes);
}

void BlockPool::free(void* block, size_t) noexcept {
    ::operator delete(block);
}

}  // namespace android::host
