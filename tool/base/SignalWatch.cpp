// Tells when the user or the system asks the program to end.
#include "base/SignalWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace plexa {
namespace {

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

}  // namespace

SignalWatch::SignalWatch(std::function<void()> onSignal) : mOnSignal(std::move(onSignal)) {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    mEndFd = eventfd(0, EFD_CLOEXEC);
    mThread = std::thread([this] { watch(); });
}

SignalWatch::~SignalWatch() {
    const uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(mEndFd, &one, sizeof(one));
    mThread.join();
    close(mSignalFd);
    close(mEndFd);
}

void SignalWatch::watch() {
    std::array<pollfd, 2> polled = {pollfd{mSignalFd, POLLIN, 0}, pollfd{mEndFd, POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0 && errno == EINTR) {
    }
    if (polled[0].revents != 0 && polled[1].revents == 0) mOnSignal();
}

}  // namespace plexa
