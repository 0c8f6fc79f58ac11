// Per-thread stocks of free blocks and the depot behind them.
#include <host/BlockPool.h>
#include <host/SpinLock.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <new>
#include <utility>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLEXA_HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define PLEXA_HEAP_ONLY 1
#endif
#endif

namespace android::host {

namespace {

#ifdef PLEXA_HEAP_ONLY
constexpr bool kRecycles = false;
#else
constexpr bool kRecycles = true;
#endif

constexpr size_t kStep = 64;  // a cache line: neighbours never share one
constexpr size_t kClasses = BlockPool::kMaxBytes / kStep;
// Large enough that threads which pass blocks round seldom meet at the depot.
constexpr uint32_t kBatchBlocks = 16;
// A thread keeps up to two batches of free blocks to itself, and which thread frees a block is a
// matter of chance. If the pool grew by single blocks, some thread would be short of one now and
// then for a long time; by so many, a chain of a few stages has enough once it has begun.
constexpr uint32_t kGrowthBlocks = 32 * kBatchBlocks;
// Per size: a burst of messages must not keep its memory for ever.
constexpr size_t kDepotBytes = size_t{1} << 20;

// What a free block holds. `nextBatch` and `count` count in the first block of a batch only.
struct FreeBlock {
    FreeBlock* next;
    FreeBlock* nextBatch;
    uint32_t count;
};

void* newBlock(size_t sizeClass) {
    return ::operator new ((sizeClass + 1) * kStep, std::align_val_t{kStep}, std::nothrow);
}

void deleteBlocks(FreeBlock* block) {
    while (block != nullptr) {
        ::operator delete (std::exchange(block, block->next), std::align_val_t{kStep});
    }
}

// The batches of one size that no thread holds.
// Threading: thread-safe.
class Depot {
public:
    constexpr Depot() = default;

    FreeBlock* take() {
        const std::lock_guard lock(mLock);
        if (mTop == nullptr) return nullptr;
        mBlocks -= mTop->count;
        return std::exchange(mTop, mTop->nextBatch);
    }

    void give(FreeBlock* batch, uint32_t count, size_t blockBytes) {
        batch->count = count;
        {
            const std::lock_guard lock(mLock);
            if ((mBlocks + count) * blockBytes <= kDepotBytes) {
                mBlocks += count;
                batch->nextBatch = std::exchange(mTop, batch);
                return;
            }
        }
        deleteBlocks(batch);
    }

private:
    SpinLock mLock;
    FreeBlock* mTop = nullptr;  // guarded by mLock
    size_t mBlocks = 0;         // guarded by mLock
};

constinit std::array<Depot, kClasses> gDepots{};

// A thread's free blocks of one size: a stack in use and a full one in reserve, so that a thread
// which allocates and frees in turn does not go to the depot each time.
// Threading: thread-bound.
class Stock {
public:
    void* pop(size_t sizeClass) {
        if (mTop == nullptr && !refill(sizeClass)) [[unlikely]]
            return grow(sizeClass);
        --mCount;
        return std::exchange(mTop, mTop->next);
    }

    void push(void* memory, size_t sizeClass) {
        if (mCount == kBatchBlocks) [[unlikely]]
            putAside(sizeClass);
        mTop = new (memory) FreeBlock{mTop, nullptr, 0};
        ++mCount;
    }

    void empty(size_t sizeClass) {
        if (mReserve != nullptr) give(mReserve, kBatchBlocks, sizeClass);
        if (mTop != nullptr) give(mTop, mCount, sizeClass);
        *this = {};
    }

private:
    [[gnu::noinline]] void putAside(size_t sizeClass) {
        if (mReserve != nullptr) give(mReserve, kBatchBlocks, sizeClass);
        mReserve = std::exchange(mTop, nullptr);
        mCount = 0;
    }

    [[gnu::noinline]] bool refill(size_t sizeClass) {
        mTop = std::exchange(mReserve, nullptr);
        mCount = kBatchBlocks;
        if (mTop != nullptr) return true;
        mTop = gDepots[sizeClass].take();
        mCount = mTop != nullptr ? mTop->count : 0;
        return mTop != nullptr;
    }

    // As many as the heap has.
    [[gnu::noinline]] void* grow(size_t sizeClass) {
        for (uint32_t i = 1; i < kGrowthBlocks; ++i) {
            void* block = newBlock(sizeClass);
            if (block == nullptr) break;
            push(block, sizeClass);
        }
        return newBlock(sizeClass);
    }

    static void give(FreeBlock* batch, uint32_t count, size_t sizeClass) {
        gDepots[sizeClass].give(batch, count, (sizeClass + 1) * kStep);
    }

    FreeBlock* mTop = nullptr;
    FreeBlock* mReserve = nullptr;
    uint32_t mCount = 0;
};

using Stocks = std::array<Stock, kClasses>;

// Initial-exec: one instruction instead of a call at each access.
[[gnu::tls_model("initial-exec")]] thread_local Stocks* tStocks = nullptr;
thread_local bool tEnding = false;

struct StocksOwner {
    Stocks stocks;

    ~StocksOwner() {
        tEnding = true;
        tStocks = nullptr;
        for (size_t i = 0; i < kClasses; ++i)
            stocks[i].empty(i);
    }
};

// The thread's stocks; null while the thread ends.
[[gnu::noinline]] Stocks* openStocks() {
    if (tEnding) return nullptr;
    thread_local StocksOwner owner;
    tStocks = &owner.stocks;
    return tStocks;
}

Stocks* stocks() {
    return tStocks != nullptr ? tStocks : openStocks();
}

}  // namespace

void* BlockPool::allocate(size_t bytes) {
    void* block = tryAllocate(bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* BlockPool::tryAllocate(size_t bytes) noexcept {
    if (!kRecycles || bytes > kMaxBytes || bytes == 0) return ::operator new(bytes, std::nothrow);
    const size_t sizeClass = (bytes - 1) / kStep;
    Stocks* own = stocks();
    return own != nullptr ? (*own)[sizeClass].pop(sizeClass) : newBlock(sizeClass);
}

void BlockPool::free(void* block, size_t bytes) noexcept {
    if (block == nullptr) return;
    if (!kRecycles || bytes > kMaxBytes || bytes == 0) {
        ::operator delete(block);
        return;
    }
    const size_t sizeClass = (bytes - 1) / kStep;
    if (Stocks* own = stocks()) {
        (*own)[sizeClass].push(block, sizeClass);
    } else {
        ::operator delete (block, std::align_val_t{kStep});
    }
}

}  // namespace android::host
