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
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited {};
        sigaction(signal, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN) sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

SignalWatch::SignalWatch(std::function<void()> onSignal)
    : mOnSignal(std::move(onSignal)), mSignals(endingSignals()) {
    pthread_sigmask(SIG_BLOCK, &mSignals, nullptr);
    mSignalFd = signalfd(-1, &mSignals, SFD_CLOEXEC);
    mEndFd = eventfd(0, EFD_CLOEXEC);
    mThread = std::thread([this] { watch(); });
}

SignalWatch::~SignalWatch() {
    stop();
    close(mSignalFd);
    close(mEndFd);
}

void SignalWatch::stop() {
    if (!mThread.joinable()) return;
    const uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(mEndFd, &one, sizeof(one));
    mThread.join();
}

void SignalWatch::passOn() {
    stop();
    if (mCaught == 0) return;
    // Its disposition is still the default: only the mask kept it away.
    raise(mCaught);
    pthread_sigmask(SIG_UNBLOCK, &mSignals, nullptr);
}

void SignalWatch::watch() {
    std::array<pollfd, 2> polled = {pollfd{mSignalFd, POLLIN, 0}, pollfd{mEndFd, POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0 && errno == EINTR) {
    }
    signalfd_siginfo caught{};
    if (polled[1].revents != 0) return;
    if (read(mSignalFd, &caught, sizeof(caught)) != sizeof(caught)) return;
    mCaught = static_cast<int>(caught.ssi_signo);
    mOnSignal();
}

}  // namespace plexa
