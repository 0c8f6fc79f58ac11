// Runs work in a child process, with its system calls counted on demand.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>

namespace plexa::bench {

/// How often each system call was made, by its number. It lies in memory that both processes share.
struct SystemCalls {
    static constexpr size_t kNumbers = 512;
    std::array<std::atomic<uint64_t>, kNumbers> made{};
};

/// Runs `work` in a child process and waits for its end. False when it ended by anything else than
/// its return. What it leaves behind it has to put into shared memory.
bool runInChild(const std::function<void()>& work);

/// The same, and adds every system call of the child's threads to `calls` before it is carried out,
/// so that the child may read there what it has made so far. Each call then takes some 10 us
/// longer. False also where the system does not let one process trace another.
bool runInCountedChild(const std::function<void()>& work, SystemCalls& calls);

}  // namespace plexa::bench
