// Mutex: the platform's lock, which clang's thread-safety analysis knows.
#pragma once

#include <android-base/thread_annotations.h>
#include <utils/Errors.h>

#include <mutex>

namespace android {

class Condition;

// Not recursive. Threading: thread-safe.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    status_t lock() ACQUIRE() {
        mMutex.lock();
        return OK;
    }
    void unlock() RELEASE() { mMutex.unlock(); }

    // Holds the lock from here to the end of the block.
    class SCOPED_CAPABILITY Autolock {
    public:
        explicit Autolock(Mutex& mutex) ACQUIRE(mutex) : mLock(mutex) { mLock.lock(); }
        Autolock(const Autolock&) = delete;
        Autolock& operator=(const Autolock&) = delete;
        ~Autolock() RELEASE() { mLock.unlock(); }

    private:
        Mutex& mLock;
    };

private:
    friend class Condition;

    std::mutex mMutex;
};

}  // namespace android
