// The block pool: sizes, threads that pass blocks on, and threads that end.
#include <gtest/gtest.h>
#include <host/BlockPool.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

namespace android::host {
namespace {

TEST(BlockPoolTest, BlocksOfEverySizeAreWholeAndApart) {
    constexpr std::array<size_t, 9> kSizes{0, 1, 63, 64, 65, 128, 1023, 1024, 1025};
    constexpr int kEach = 100;  // more than a thread keeps
    std::vector<std::pair<unsigned char*, size_t>> blocks;
    for (const size_t size : kSizes) {
        for (int i = 0; i < kEach; ++i) {
            auto* block = static_cast<unsigned char*>(BlockPool::allocate(size));
            memset(block, static_cast<int>(blocks.size() % 251), size);
            blocks.emplace_back(block, size);
        }
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto [block, size] = blocks[i];
        for (size_t k = 0; k < size; ++k)
            ASSERT_EQ(block[k], i % 251);
        BlockPool::free(block, size);
    }
    BlockPool::free(nullptr, 64);
}

// One thread allocates, another frees: the stocks run empty and over, and batches go round.
TEST(BlockPoolTest, BlocksFreedElsewhereComeBack) {
    constexpr int kBlocks = 20'000;
    constexpr size_t kAhead = 500;
    std::array<std::atomic<int*>, kAhead> ring{};
    std::thread consumer([&] {
        for (int i = 0; i < kBlocks; ++i) {
            std::atomic<int*>& slot = ring[static_cast<size_t>(i) % kAhead];
            int* block = nullptr;
            while ((block = slot.exchange(nullptr)) == nullptr)
                std::this_thread::yield();
            EXPECT_EQ(*block, i);
            BlockPool::free(block, sizeof(int));
        }
    });
    for (int i = 0; i < kBlocks; ++i) {
        std::atomic<int*>& slot = ring[static_cast<size_t>(i) % kAhead];
        while (slot.load() != nullptr)
            std::this_thread::yield();
        slot = new (BlockPool::allocate(sizeof(int))) int(i);
    }
    consumer.join();
}

struct FreesLate {
    std::vector<void*> blocks;
    ~FreesLate() {
        for (void* block : blocks)
            BlockPool::free(block, 100);
        BlockPool::free(BlockPool::allocate(100), 100);
    }
};

// A thread-local object made before the thread's first block goes after the thread's stock.
TEST(BlockPoolTest, ServesThreadsThatAreEnding) {
    std::thread([] {
        thread_local FreesLate late;
        for (int i = 0; i < 100; ++i)
            late.blocks.push_back(BlockPool::allocate(100));
    }).join();
}
}  // namespace
}  // namespace android::host
