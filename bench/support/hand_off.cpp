// Baselines: what it costs to pass an item between two threads with nothing around it.
#include "support/hand_off.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace plexa::bench {

void futexSleepWhile(const std::atomic<int>& word, int value) {
    while (word == value)
        syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void futexWake(const std::atomic<int>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

FutexEcho::FutexEcho() : mThread([this] { answer(); }) {}

FutexEcho::~FutexEcho() {
    give(kEnd);
    mThread.join();
}

void FutexEcho::call() {
    give(kEcho);
    futexSleepWhile(mTurn, kEcho);
}

void FutexEcho::answer() {
    for (futexSleepWhile(mTurn, kCaller); mTurn == kEcho; futexSleepWhile(mTurn, kCaller))
        give(kCaller);
}

void FutexEcho::give(Turn turn) {
    mTurn = turn;
    futexWake(mTurn);
}

void passThroughQueue(int items) {
    std::mutex lock;
    std::condition_variable filled;
    std::deque<int> queue;
    std::thread consumer([&] {
        for (int taken = 0; taken < items; ++taken) {
            std::unique_lock<std::mutex> hold(lock);
            filled.wait(hold, [&] { return !queue.empty(); });
            queue.pop_front();
        }
    });
    for (int item = 0; item < items; ++item) {
        const std::lock_guard<std::mutex> hold(lock);
        queue.push_back(item);
        filled.notify_one();
    }
    consumer.join();
}

}  // namespace plexa::bench
