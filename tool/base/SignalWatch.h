// Tells when the user or the system asks the program to end.
#pragma once

#include <functional>
#include <thread>

namespace plexa {

/**
 * Takes SIGINT, SIGTERM and SIGHUP for the whole process, so that they end a job instead of the
 * process. Make it before any other thread: threads inherit the mask that keeps the signals for it.
 *
 * Threading: reentrant; the callback runs on the watch's own thread, at most once.
 */
class SignalWatch {
public:
    explicit SignalWatch(std::function<void()> onSignal);
    /** Ends the watch; the callback does not run afterwards. */
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

private:
    void watch();

    std::function<void()> mOnSignal;
    int mSignalFd = -1;
    int mEndFd = -1;
    std::thread mThread;
};

}  // namespace plexa
