// SpinLock: a lock for sections of a few instructions.
#pragma once

#include <atomic>

#include <sched.h>

namespace android::host {

// One atomic operation to take, a plain store to give back. For sections that neither call out nor
// sleep; whoever finds it taken gives way to other threads after a few tries. Not recursive. Use
// it with std::lock_guard.
// Threading: thread-safe.
class SpinLock {
public:
    constexpr SpinLock() = default;
    SpinLock(const SpinLock&) = delete;
    SpinLock& operator=(const SpinLock&) = delete;

    void lock() {
        while (mTaken.exchange(true, std::memory_order_acquire))
            [[unlikely]] waitUntilFree();
    }
    void unlock() { mTaken.store(false, std::memory_order_release); }

private:
    void waitUntilFree() const {
        constexpr int kTries = 100;
        for (int i = 0; mTaken.load(std::memory_order_relaxed); ++i) {
            if (i >= kTries) sched_yield();
        }
    }

    std::atomic<bool> mTaken{false};
};

}  // namespace android::host
