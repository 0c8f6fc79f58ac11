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

// What a free block holds. `nextBatch` and `count` are set in the first block of a batch only.
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
    // Null when the stack in use is empty.
    void* popInUse() {
        if (mTop == nullptr) return nullptr;
        --mCount;
        return std::exchange(mTop, mTop->next);
    }

    void* pop(size_t sizeClass) {
        if (mTop == nullptr && !refill(sizeClass)) return grow(sizeClass);
        return popInUse();
    }

    // False when the stack in use is full.
    bool pushInUse(void* memory) {
        if (mCount == kBatchBlocks) return false;
        auto* block = new (memory) FreeBlock;
        block->next = std::exchange(mTop, block);
        ++mCount;
        return true;
    }

    void push(void* memory, size_t sizeClass) {
        if (pushInUse(memory)) return;
        putAside(sizeClass);
        pushInUse(memory);
    }

    void empty(size_t sizeClass) {
        if (mReserve != nullptr) give(mReserve, kBatchBlocks, sizeClass);
        if (mTop != nullptr) give(mTop, mCount, sizeClass);
        *this = {};
    }

private:
    void putAside(size_t sizeClass) {
        if (mReserve != nullptr) give(mReserve, kBatchBlocks, sizeClass);
        mReserve = std::exchange(mTop, nullptr);
        mCount = 0;
    }

    bool refill(size_t sizeClass) {
        mTop = std::exchange(mReserve, nullptr);
        mCount = kBatchBlocks;
        if (mTop != nullptr) return true;
        mTop = gDepots[sizeClass].take();
        mCount = mTop != nullptr ? mTop->count : 0;
        return mTop != nullptr;
    }

    // As many as the heap has.
    void* grow(size_t sizeClass) {
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

constexpr size_t classOf(size_t bytes) {
    return (bytes - 1) / kStep;
}

// The stock for so many bytes, null where there is none or it is not open yet.
Stock* stockInUse(size_t bytes) {
    const bool isPooled = kRecycles && classOf(bytes) < kClasses;  // 0 bytes wrap round
    return isPooled && tStocks != nullptr ? &(*tStocks)[classOf(bytes)] : nullptr;
}

[[gnu::noinline]] void* allocateSlowly(size_t bytes) noexcept {
    if (!kRecycles || classOf(bytes) >= kClasses) return ::operator new(bytes, std::nothrow);
    Stocks* own = stocks();
    return own != nullptr ? (*own)[classOf(bytes)].pop(classOf(bytes)) : newBlock(classOf(bytes));
}

[[gnu::noinline]] void* allocateOrThrow(size_t bytes) {
    void* block = allocateSlowly(bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

[[gnu::noinline]] void freeSlowly(void* block, size_t bytes) noexcept {
    if (block == nullptr) return;
    if (!kRecycles || classOf(bytes) >= kClasses) {
        ::operator delete(block);
    } else if (Stocks* own = stocks()) {
        (*own)[classOf(bytes)].push(block, classOf(bytes));
    } else {
        ::operator delete (block, std::align_val_t{kStep});
    }
}

}  // namespace

void* BlockPool::allocate(size_t bytes) {
    Stock* stock = stockInUse(bytes);
    void* block = stock != nullptr ? stock->popInUse() : nullptr;
    return block != nullptr ? block : allocateOrThrow(bytes);
}

void* BlockPool::tryAllocate(size_t bytes) noexcept {
    Stock* stock = stockInUse(bytes);
    void* block = stock != nullptr ? stock->popInUse() : nullptr;
    return block != nullptr ? block : allocateSlowly(bytes);
}

void BlockPool::free(void* block, size_t bytes) noexcept {
    Stock* stock = block != nullptr ? stockInUse(bytes) : nullptr;
    if (stock == nullptr || !stock->pushInUse(block)) freeSlowly(block, bytes);
}

}  // namespace android::host
