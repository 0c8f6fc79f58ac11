// Tells when the user or the system asks the program to end.
#pragma once

#include <csignal>
#include <functional>
#include <thread>

namespace plexa {

/**
 * Takes SIGINT, SIGTERM and SIGHUP for the whole process, so that they end a job instead of the
 * process; one that was ignored when the program was started (nohup) stays so. Make it before any
 * other thread: threads inherit the mask that keeps the signals for it.
 *
 * Threading: reentrant; the callback runs on the watch's own thread, at most once.
 */
class SignalWatch {
public:
    explicit SignalWatch(std::function<void()> onSignal);
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    /** Ends the watch; the callback does not run afterwards. */
    void stop();

    /**
     * Ends the watch. If a signal came, the process dies of it, as if it had never been taken: so a
     * shell knows that its loop is to end too. Returns otherwise.
     */
    void passOn();

private:
    void watch();

    std::function<void()> mOnSignal;
    sigset_t mSignals;
    int mSignalFd = -1;
    int mEndFd = -1;
    int mCaught = 0;  // by the watch's thread; read once that has ended
    std::thread mThread;
};

}  // namespace plexa
