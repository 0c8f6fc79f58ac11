// Condition: lets threads wait until another one says that something has changed.
#pragma once

#include <utils/Errors.h>
#include <utils/Mutex.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace android {

// A wait gives the mutex up meanwhile and may return without a reason: wait in a loop that looks at
// what is waited for.
// Threading: thread-safe.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    status_t wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock lock(mutex.mMutex, std::adopt_lock);
        mCondition.wait(lock);
        lock.release();
        return OK;
    }
    // For `nanoseconds` at most; TIMED_OUT when they are over.
    status_t waitRelative(Mutex& mutex, int64_t nanoseconds) REQUIRES(mutex) {
        std::unique_lock lock(mutex.mMutex, std::adopt_lock);
        const auto status = mCondition.wait_for(lock, std::chrono::nanoseconds(nanoseconds));
        lock.release();
        return status == std::cv_status::timeout ? TIMED_OUT : OK;
    }
    void signal() { mCondition.notify_one(); }
    void broadcast() { mCondition.notify_all(); }

private:
    std::condition_variable mCondition;
};

}  // namespace android
