// Baselines: what it costs to pass an item between two threads with nothing around it.
#include "support/hand_off.h"

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

void BareQueue::push(int item) {
    const std::lock_guard<std::mutex> hold(mLock);
    mItems.push_back(item);
    mFilled.notify_one();
}

int BareQueue::pop() {
    std::unique_lock<std::mutex> hold(mLock);
    mFilled.wait(hold, [this] { return !mItems.empty(); });
    const int item = mItems.front();
    mItems.pop_front();
    return item;
}

void passThroughQueue(int items) {
    BareQueue queue;
    std::thread consumer([&] {
        for (int taken = 0; taken < items; ++taken)
            queue.pop();
    });
    for (int item = 0; item < items; ++item)
        queue.push(item);
    consumer.join();
}

void passThroughQueueAndBack(int items, int inFlight) {
    BareQueue there, back;
    std::thread consumer([&] {
        for (int taken = 0; taken < items; ++taken)
            back.push(there.pop());
    });
    for (int item = 0; item < items; ++item) {
        if (item >= inFlight) back.pop();
        there.push(item);
    }
    consumer.join();
}

}  // namespace plexa::bench
