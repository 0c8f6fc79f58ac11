// A request to stop, which a blocked read or write can wait for too.
#pragma once

#include <atomic>

namespace plexa {

/**
 * Set once, by whoever wants the job to end early; never cleared. Blocking input and output wait in
 * poll() for their own descriptor and for `fd()` together, so that they end at once.
 *
 * Threading: thread-safe.
 */
class Cancellation {
public:
    Cancellation();
    ~Cancellation();
    Cancellation(const Cancellation&) = delete;
    Cancellation& operator=(const Cancellation&) = delete;

    void request();
    bool isRequested() const { return mRequested.load(std::memory_order_acquire); }

    /**
     * Waits until `fd` is ready for `events` (POLLIN or POLLOUT), or has failed, or the stop is
     * requested. Returns false in the last case.
     */
    bool waitFor(int fd, short events) const;

private:
    std::atomic<bool> mRequested{false};
    int mEventFd;
};

}  // namespace plexa
