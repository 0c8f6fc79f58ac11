// APipePublished: a record that one thread writes and any thread reads.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace android {

/// There are two slots. The writer fills the one that readers do not look at and then turns their
/// eyes to it, so it never waits, and a reader that saw its slot being filled again starts over,
/// which takes two writes meanwhile. A writer that is preempted holds nobody up.
///
/// Threading: write() one thread at a time, read() any thread.
template <typename T>
class APipePublished {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) % sizeof(uint64_t) == 0);

public:
    APipePublished() { write(T{}); }

    void write(const T& record) {
        const auto words = std::bit_cast<Words>(record);
        const uint64_t next = mWrites.load(std::memory_order_relaxed) + 1;
        Slot& slot = mSlots[next % 2];
        // Release: whoever reads one of these words sees mWrites as it was when its slot stopped
        // being the current one.
        for (size_t i = 0; i < words.size(); ++i)
            slot[i].store(words[i], std::memory_order_release);
        mWrites.store(next, std::memory_order_release);
    }

    T read() const {
        for (;;) {
            // Acquire: the words of the write that this number tells of.
            const uint64_t current = mWrites.load(std::memory_order_acquire);
            const Slot& slot = mSlots[current % 2];
            Words words;
            // Acquire: pairs with the stores of a later write to the slot; the load of mWrites
            // below then sees a later number.
            for (size_t i = 0; i < words.size(); ++i)
                words[i] = slot[i].load(std::memory_order_acquire);
            if (mWrites.load(std::memory_order_relaxed) == current) return std::bit_cast<T>(words);
        }
    }

private:
    static constexpr size_t kWords = sizeof(T) / sizeof(uint64_t);
    using Words = std::array<uint64_t, kWords>;
    using Slot = std::array<std::atomic<uint64_t>, kWords>;

    std::array<Slot, 2> mSlots{};
    std::atomic<uint64_t> mWrites = 0;
};

}  // namespace android
