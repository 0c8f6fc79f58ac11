// A process of its own, and its watch.
#include "ChildProcess.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>

namespace plexa::kit {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{2};
constexpr std::chrono::milliseconds kTimeToAnswer{500};
// How many times longer the end of a process may take: sanitizers look for leaks in it.
constexpr int kEndPatience = 10;

std::string (*gState)() = nullptr;

// The process hangs and is about to be ended: there is nothing to lose by asking.
void answer(int /*signal*/) {
    Pulse::installed->state.set(gState() + "\n");
}

[[noreturn]] void live(Pulse& pulse, const std::function<void()>& work, std::string (*state)()) {
    Pulse::installed = &pulse;
    gState = state;
    if (state != nullptr) std::signal(SIGUSR2, answer);
    work();
    pulse.answered = true;
    std::exit(0);  // by way of what sanitizers and threads that nobody joined have left for it
}

bool hasEnded(pid_t child, int* status) {
    return waitpid(child, status, WNOHANG) == child;
}

void end(pid_t child, const Pulse& pulse, bool asks) {
    if (asks) kill(child, SIGUSR2);
    const auto deadline = Clock::now() + kTimeToAnswer;
    while (asks && pulse.state.get().empty() && Clock::now() < deadline)
        std::this_thread::sleep_for(kLook);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

}  // namespace

Pulse& sharedPulse() {
    static Pulse* const pulse = [] {
        void* const memory =
            mmap(nullptr, sizeof(Pulse), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        return new (memory) Pulse;
    }();
    return *pulse;
}

ChildEnd runInChild(Pulse& pulse, std::chrono::milliseconds patience,
                    const std::function<void()>& work, std::string (*state)()) {
    pulse.story.set("");
    pulse.state.set("");
    pulse.result.set("");
    pulse.beats = 0;
    pulse.answered = false;
    pulse.found = false;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) live(pulse, work, state);
    if (child < 0) return ChildEnd::Crashed;
    uint64_t beats = 0;
    auto last = Clock::now();
    int status = 0;
    while (!hasEnded(child, &status)) {
        const uint64_t now = pulse.beats.load(std::memory_order_relaxed);
        if (now != beats) last = Clock::now();
        beats = now;
        if (Clock::now() - last > patience * (pulse.answered ? kEndPatience : 1)) {
            end(child, pulse, state != nullptr);
            return pulse.found ? ChildEnd::Done : ChildEnd::Hung;
        }
        std::this_thread::sleep_for(kLook);
    }
    // A sanitizer may have something to say of what was found already.
    const bool isDone = pulse.found || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
    return isDone ? ChildEnd::Done : ChildEnd::Crashed;
}

}  // namespace plexa::kit
