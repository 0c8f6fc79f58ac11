// A seccomp filter stops the child at each system call; its parent, as tracer, counts and lets go.
#include "support/counted_child.h"

#include <csignal>
#include <cstddef>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace plexa::bench {

namespace {

constexpr int kCannotTrace = 1;

// The call's number is the low half of the filter's answer, which the tracer can ask for.
bool stopAtSystemCalls() {
    sock_filter answerWithNumber[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_STMT(BPF_ALU | BPF_OR | BPF_K, SECCOMP_RET_TRACE),
        BPF_STMT(BPF_RET | BPF_A, 0),
    };
    const sock_fprog program = {3, answerWithNumber};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

bool endedWell(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Signals are passed on, but for the SIGSTOP that a new thread begins with.
void countAndContinue(pid_t thread, int status, SystemCalls& calls) {
    const int event = status >> 16;
    if (event == PTRACE_EVENT_SECCOMP) {
        unsigned long number = 0;
        ptrace(PTRACE_GETEVENTMSG, thread, nullptr, &number);
        ++calls.made[number % SystemCalls::kNumbers];
    }
    const int signal = WSTOPSIG(status);
    const bool isPassedOn = event == 0 && signal != SIGSTOP;
    ptrace(PTRACE_CONT, thread, nullptr, isPassedOn ? signal : 0);
}

bool traceToItsEnd(pid_t child, SystemCalls& calls) {
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
    ptrace(PTRACE_SETOPTIONS, child, nullptr,
           PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
    ptrace(PTRACE_CONT, child, nullptr, nullptr);
    while (true) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) return false;
        if (WIFSTOPPED(status)) countAndContinue(thread, status, calls);
        if (thread == child && !WIFSTOPPED(status)) return endedWell(status);
    }
}

}  // namespace

bool runInChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && endedWell(status);
}

bool runInCountedChild(const std::function<void()>& work, SystemCalls& calls) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kCannotTrace);
        raise(SIGSTOP);
        if (!stopAtSystemCalls()) _exit(kCannotTrace);
        work();
        _exit(0);
    }
    return child > 0 && traceToItsEnd(child, calls);
}

}  // namespace plexa::bench
