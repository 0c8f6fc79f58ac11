// Threads of loopers: start, loop, end.
#define LOG_TAG "ALooper"

#include "LooperThread.h"

#include <host/FaultInjection.h>
#include <log/log.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include <sys/resource.h>

namespace android::host {

namespace {

constexpr size_t kKernelNameLength = 15;

// Threads whose looper went inside one of their own messages: nobody is left to join them. Each
// is joined when it has ended and another one comes, or at the end of the process; those that come
// even later are left to the system. Never destroyed, for they may come at any time.
// Threading: thread-safe.
class Orphans {
public:
    static Orphans& get() {
        static Orphans* const instance = new Orphans;
        return *instance;
    }

    void adopt(sp<LooperThread> thread) {
        std::vector<sp<LooperThread>> ended;
        const std::lock_guard lock(mLock);
        if (mProcessEnds) return thread->detach();
        const auto firstEnded = std::stable_partition(mThreads.begin(), mThreads.end(),
                                                      [](const auto& t) { return !t->hasEnded(); });
        std::move(firstEnded, mThreads.end(), std::back_inserter(ended));
        mThreads.erase(firstEnded, mThreads.end());
        mThreads.push_back(std::move(thread));
        joinAll(ended);
    }

private:
    Orphans() {
        std::atexit([] { get().joinAtExit(); });
    }

    void joinAtExit() {
        std::unique_lock lock(mLock);
        mProcessEnds = true;
        const std::vector<sp<LooperThread>> last = std::exchange(mThreads, {});
        lock.unlock();
        joinAll(last);
    }

    static void joinAll(const std::vector<sp<LooperThread>>& threads) {
        for (const auto& thread : threads)
            thread->join();
    }

    std::mutex mLock;
    bool mProcessEnds = false;               // guarded by mLock
    std::vector<sp<LooperThread>> mThreads;  // guarded by mLock
};

}  // namespace

LooperThread::LooperThread(const sp<LooperCore>& core, const std::string& name, int32_t priority)
    : mCore(core), mName(name, 0, kKernelNameLength), mPriority(priority) {}

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
    if (mPriority == 0 || setpriority(PRIO_PROCESS, 0, mPriority) == 0) return;
    static std::once_flag logged;
    std::call_once(logged, [this, error = errno] {
        ALOGI("thread '%s' runs without its priority %d: %s", mName.c_str(), mPriority,
              strerror(error));
    });
}

void LooperThread::run() {
    mRunner.store(pthread_self());
    MessageQueue& queue = mCore->queue;
    while (!queue.isClosed()) {
        if (!queue.handleNext()) queue.waitUntil(queue.nextDueUs());
    }
    queue.drop();
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
