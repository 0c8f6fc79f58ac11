// Baselines: what it costs to pass an item between two threads with nothing around it.
#include "support/hand_off.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace plexa::bench {

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

void pingPong(int handOffs) {
    std::atomic<int> turn = 0;
    const auto play = [&](int side) {
        for (int mine = side; mine < handOffs; mine += 2) {
            for (int now = turn; now != mine; now = turn)
                turn.wait(now);
            turn = mine + 1;
            turn.notify_one();
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
}

}  // namespace plexa::bench
