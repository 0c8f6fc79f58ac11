// LooperThread: a thread that runs a looper's queue.
#pragma once

#include "LoopDriver.h"
#include "MessageQueue.h"

#include <utils/Errors.h>

#include <atomic>
#include <string>

#include <pthread.h>

namespace android::host {

// Threading: thread-safe.
class LooperThread : public LoopDriver {
public:
    LooperThread(const sp<MessageQueue>& queue, const std::string& name, int32_t priority);

    // Runs the queue on a new thread: OK, or UNKNOWN_ERROR when there is none to be had.
    status_t start();
    // Runs the queue inside the call, on the calling thread as it is.
    void run();
    // Waits for the end, or leaves the thread to end by itself; one of them, once only.
    void join();
    void detach();
    // Joins a thread whose loop is over; false, and nothing is done, while it is not.
    bool joinIfEnded();

    bool isCurrent() const override;
    void finish() override;

protected:
    ~LooperThread() override = default;

private:
    static void* threadMain(void* self);
    void applyNameAndPriority() const;

    const sp<MessageQueue> mQueue;
    const std::string mName;
    const int32_t mPriority;
    pthread_t mThread{};
    bool mOwnThread = false;
    std::atomic<pthread_t> mRunner{};
    std::atomic<bool> mEnded{false};
};

}  // namespace android::host
