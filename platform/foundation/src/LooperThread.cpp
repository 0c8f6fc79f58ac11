// Threads of loopers: start, loop, end.
#define LOG_TAG "ALooper"

#include "LooperThread.h"

#include <host/FaultInjection.h>
#include <log/log.h>
#include <utils/Mutex.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace android::host {

namespace {

constexpr size_t kKernelNameLength = 15;

// Threads whose looper went inside one of their own messages: nobody is left to join them. Those
// that have ended are joined when the next one comes, the others at the end of the process. One
// that comes even later is left to the system. Never destroyed, for it may come at any time.
// Threading: thread-safe.
class Orphans {
public:
    static Orphans& get() {
        static Orphans* const instance = new Orphans;
        return *instance;
    }

    void adopt(const sp<LooperThread>& thread) {
        const Mutex::Autolock lock(mLock);
        if (mProcessEnds) return thread->detach();
        std::erase_if(mThreads, [](const auto& other) { return other->joinIfEnded(); });
        mThreads.push_back(thread);
    }

private:
    Orphans() {
        std::atexit([] {
            for (const auto& thread : get().takeLast())
                thread->join();
        });
    }

    std::vector<sp<LooperThread>> takeLast() {
        const Mutex::Autolock lock(mLock);
        mProcessEnds = true;
        return std::exchange(mThreads, {});
    }

    Mutex mLock;
    bool mProcessEnds GUARDED_BY(mLock) = false;
    std::vector<sp<LooperThread>> mThreads GUARDED_BY(mLock);
};

// What the kernel's sched_setattr() takes; the C library has no name for it.
struct SchedulingAttributes {
    uint32_t size = sizeof(SchedulingAttributes);
    uint32_t policy = SCHED_OTHER;
    uint64_t flags = 0;
    int32_t nice = 0;
    uint32_t priority = 0;
    uint64_t runtimeNs = 0;  // of one turn; 0: the system's usual
    uint64_t deadlineNs = 0;
    uint64_t periodNs = 0;
};

// Of the calling thread. One of raised priority gets short turns as well: the kernel (6.12 or
// newer) lets a thread that wakes up take the processor at once from one with longer turns, where
// niceness alone would leave it waiting for the end of a turn of some milliseconds.
bool setPriority(int32_t nice) {
    constexpr uint64_t kShortestTurnNs = 100'000;
    SchedulingAttributes attributes;
    attributes.nice = nice;
    if (nice < 0) attributes.runtimeNs = kShortestTurnNs;
    return syscall(SYS_sched_setattr, 0, &attributes, 0) == 0;
}

}  // namespace

LooperThread::LooperThread(const sp<MessageQueue>& queue, const std::string& name, int32_t priority)
    : mQueue(queue), mName(name, 0, kKernelNameLength), mPriority(priority) {}

status_t LooperThread::start() {
    incStrong(this);  // the thread's own reference
    const int error = FaultInjection::shouldFail(Fault::ThreadStart)
                          ? EAGAIN
                          : pthread_create(&mThread, nullptr, threadMain, this);
    mOwnThread = error == 0;
    if (error == 0) return OK;
    ALOGE("cannot start thread '%s': %s", mName.c_str(), strerror(error));
    decStrong(this);
    return UNKNOWN_ERROR;
}

void* LooperThread::threadMain(void* self) {
    sp<LooperThread> thread(static_cast<LooperThread*>(self));
    thread->decStrong(self);  // from start()
    thread->applyNameAndPriority();
    thread->run();
    return nullptr;
}

void LooperThread::applyNameAndPriority() const {
    if (!mName.empty()) pthread_setname_np(pthread_self(), mName.c_str());
    if (mPriority == 0 || setPriority(mPriority)) return;
    static std::once_flag logged;
    std::call_once(logged, [this, error = errno] {
        ALOGI("thread '%s' runs without its priority %d: %s", mName.c_str(), mPriority,
              strerror(error));
    });
}

void LooperThread::run() {
    mRunner.store(pthread_self());
    while (!mQueue->isStopped()) {
        if (!mQueue->handleNext()) mQueue->wait();
    }
    mQueue->drop();
    mRunner.store(pthread_t{});
    mEnded.store(true);
    mEnded.notify_all();
}

bool LooperThread::isCurrent() const {
    return pthread_equal(mRunner.load(), pthread_self()) != 0;
}

void LooperThread::finish() {
    if (!isCurrent()) {
        join();
    } else if (mOwnThread) {
        Orphans::get().adopt(this);
    }
}

bool LooperThread::joinIfEnded() {
    if (!mEnded.load()) return false;
    join();
    return true;
}

void LooperThread::detach() {
    pthread_detach(mThread);
}

void LooperThread::join() {
    if (!mOwnThread) {
        mEnded.wait(false);
    } else if (pthread_equal(mThread, pthread_self()) != 0) {
        detach();  // the process is ended by a message
    } else {
        pthread_join(mThread, nullptr);
    }
}

}  // namespace android::host
