// A report that is printed when the user asks for it.
#include "base/SignalReport.h"

#include <semaphore.h>

#include <csignal>
#include <cstdio>
#include <utility>

namespace plexa {
namespace {

// Posted by the signal's handler, which may do little else.
sem_t sAsked;

}  // namespace

SignalReport::SignalReport(std::function<std::string()> report) : mReport(std::move(report)) {
    sem_init(&sAsked, 0, 0);
    mThread = std::thread([this] { run(); });
    struct sigaction action {};
    action.sa_handler = [](int) { sem_post(&sAsked); };
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
}

SignalReport::~SignalReport() {
    std::signal(SIGUSR1, SIG_IGN);
    mEnds = true;
    sem_post(&sAsked);
    mThread.join();
}

void SignalReport::run() {
    for (;;) {
        if (sem_wait(&sAsked) != 0) continue;  // interrupted by a signal
        if (mEnds) return;
        std::fputs(mReport().c_str(), stderr);
    }
}

}  // namespace plexa
