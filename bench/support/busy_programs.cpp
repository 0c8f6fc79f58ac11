// Other programs that want the processors.
#include "support/busy_programs.h"

#include <atomic>
#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace plexa::bench {

namespace {

[[noreturn]] void compute() {
    // Not even a benchmark that was killed leaves one behind.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (std::atomic<unsigned> counter = 0;;)
        counter.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

BusyPrograms::BusyPrograms(int count) {
    for (int i = 0; i < count; ++i) {
        const pid_t child = fork();
        if (child == 0) compute();
        if (child > 0) mChildren.push_back(child);
    }
}

BusyPrograms::~BusyPrograms() {
    for (const pid_t child : mChildren) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

}  // namespace plexa::bench
