// Deadline: waiting until a condition holds, or a deadline has passed.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace plexa::kit {

/// Long enough for the slowest machine under a sanitizer; only what has failed waits so long.
inline constexpr std::chrono::seconds kDeadline{30};

/// For conditions that nobody announces: looks again and again. False after the deadline.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

/// A value that threads change and someone waits for.
///
/// Threading: thread-safe.
template <typename T>
class Awaited {
public:
    explicit Awaited(T initial = T()) : mValue(std::move(initial)) {}

    /// Changes the value and wakes who waits for it.
    template <typename Change>
    void update(Change change) {
        const std::lock_guard lock(mLock);
        change(mValue);
        mChanged.notify_all();
    }
    void set(T value) {
        update([&](T& current) { current = std::move(value); });
    }
    T get() const {
        const std::lock_guard lock(mLock);
        return mValue;
    }
    /// Waits until the condition holds for the value. False after the deadline.
    template <typename Condition>
    [[nodiscard]] bool waitUntil(Condition condition) const {
        std::unique_lock lock(mLock);
        return mChanged.wait_for(lock, kDeadline, [&] { return condition(mValue); });
    }

private:
    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    T mValue;  // guarded by mLock
};

}  // namespace plexa::kit
