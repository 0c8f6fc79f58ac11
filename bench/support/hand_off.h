// Baselines: what it costs to pass an item between two threads with nothing around it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace plexa::bench {

/// The plain system calls: std::atomic's wait and notify spin and yield before they go to sleep.
void futexSleepWhile(const std::atomic<int>& word, int value);
void futexWake(const std::atomic<int>& word);

/// A thread that sleeps on a futex and answers each call.
///
/// Threading: reentrant.
class FutexEcho {
public:
    FutexEcho();
    ~FutexEcho();

    FutexEcho(const FutexEcho&) = delete;
    FutexEcho& operator=(const FutexEcho&) = delete;

    /// One hand-off there and one back; the caller sleeps meanwhile.
    void call();

private:
    enum Turn { kCaller, kEcho, kEnd };

    void answer();
    void give(Turn turn);

    std::atomic<int> mTurn = kCaller;
    std::thread mThread;
};

/// A queue under a mutex and a condition.
///
/// Threading: thread-safe.
class BareQueue {
public:
    void push(int item);
    /// Waits for an item.
    int pop();

private:
    std::mutex mLock;
    std::condition_variable mFilled;
    std::deque<int> mItems;
};

/// So many items through a bare queue, from one thread to another.
void passThroughQueue(int items);

/// The same and back through another one, with at most so many items in flight.
void passThroughQueueAndBack(int items, int inFlight);

}  // namespace plexa::bench
