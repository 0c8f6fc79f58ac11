// What loops cost: messages posted and handled, loops that are busy, loops that sleep; beside a
// plain queue and plain futexes.
#include <benchmark/benchmark.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include <atomic>
#include <chrono>
#include <optional>

#include "support/costs.h"
#include "support/hand_off.h"
#include "support/ratios.h"

namespace {

using namespace plexa::bench;
using android::AHandler;
using android::ALooper;
using android::AMessage;
using android::sp;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kWhat = 1;
constexpr int kMessages = 10'000;

// Counts messages down; while some are left it may post the next one itself.
class Counter : public AHandler {
public:
    void expect(int messages) { mLeft = messages; }

    void waitForAll() const {
        for (int now = mLeft; now > 0; now = mLeft)
            futexSleepWhile(mLeft, now);
    }

    void send() const {
        const auto msg = sp<AMessage>::make(kWhat, this);
        msg->setInt32("generation", 1);
        msg->post();
    }

    bool postsItself = false;

protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        int32_t generation = 0;
        benchmark::DoNotOptimize(msg->findInt32("generation", &generation));
        const int left = mLeft.load(std::memory_order_relaxed) - 1;
        mLeft.store(left, std::memory_order_release);
        if (left <= 0) {
            futexWake(mLeft);
        } else if (postsItself) {
            send();
        }
    }

private:
    std::atomic<int> mLeft = 0;
};

struct Loop {
    const sp<ALooper> looper = sp<ALooper>::make();
    const sp<Counter> counter = sp<Counter>::make();

    Loop() {
        looper->setName("bench");
        looper->registerHandler(counter);
        looper->start();
    }
    ~Loop() { looper->stop(); }

    // A message there, and this thread, which sleeps meanwhile, woken again.
    void call() const {
        counter->expect(1);
        counter->send();
        counter->waitForAll();
    }
};

// Message made, posted, handled and destroyed, all on the loop's thread.
void postAndHandle(benchmark::State& state) {
    Loop loop;
    loop.counter->postsItself = true;
    const Costs costs(state);
    while (state.KeepRunningBatch(kMessages)) {
        loop.counter->expect(kMessages);
        loop.counter->send();
        loop.counter->waitForAll();
    }
    state.SetItemsProcessed(state.iterations());
}

void queueItem(benchmark::State& state) {
    while (state.KeepRunningBatch(kMessages))
        passThroughQueue(kMessages);
    state.SetItemsProcessed(state.iterations());
}

// Threads post to one loop as fast as they can, each waiting for its messages now and then, so
// that no more are under way than the block pool keeps.
void feedBusyLoop(benchmark::State& state) {
    constexpr int kUnderWay = 256;
    static sp<ALooper> looper;
    if (state.thread_index() == 0) {
        looper = sp<ALooper>::make();
        looper->start();
    }
    const auto counter = sp<Counter>::make();
    std::optional<Costs> costs;
    while (state.KeepRunningBatch(kUnderWay)) {
        if (counter->id() == 0) {
            looper->registerHandler(counter);
            if (state.thread_index() == 0) costs.emplace(state);
        }
        counter->expect(kUnderWay);
        for (int i = 0; i < kUnderWay; ++i)
            counter->send();
        counter->waitForAll();
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) looper.clear();
}

// Calls at once after the last answer, when the other thread may not be asleep yet.
template <typename Called>
void callAtOnce(benchmark::State& state) {
    Called called;
    const Costs costs(state);
    for (auto _ : state)
        called.call();
}

// Calls after a pause that any waiting thread spends asleep.
template <typename Called>
void callAsleep(benchmark::State& state) {
    constexpr auto kPause = std::chrono::microseconds(200);
    Called called;
    const Costs costs(state);
    for (auto _ : state) {
        const auto end = Clock::now() + kPause;
        while (Clock::now() < end)
            continue;
        const auto start = Clock::now();
        called.call();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

void loopAtOnce(benchmark::State& state) {
    callAtOnce<Loop>(state);
}
void futexAtOnce(benchmark::State& state) {
    callAtOnce<FutexEcho>(state);
}
void sleepingLoop(benchmark::State& state) {
    callAsleep<Loop>(state);
}
void sleepingFutex(benchmark::State& state) {
    callAsleep<FutexEcho>(state);
}

}  // namespace

BENCHMARK(postAndHandle)->UseRealTime();
BENCHMARK(queueItem)->UseRealTime();
BENCHMARK(feedBusyLoop)->ThreadRange(1, 4)->UseRealTime();
BENCHMARK(loopAtOnce)->UseRealTime();
BENCHMARK(futexAtOnce)->UseRealTime();
BENCHMARK(sleepingLoop)->UseManualTime()->Iterations(1000);
BENCHMARK(sleepingFutex)->UseManualTime()->Iterations(1000);

int main(int argc, char** argv) {
    return runWithRatios(
        argc, argv,
        {{"a message on its own loop / bare queue item (time)", "queueItem", {"postAndHandle"}},
         {"busy loop fed by 1 thread / bare queue item (time)",
          "queueItem",
          {"feedBusyLoop/threads:1"}},
         {"busy loop fed by 4 threads / by 1 (throughput)",
          "feedBusyLoop/threads:4",
          {"feedBusyLoop/threads:1"}},
         {"idle loop and back / futex and back (time)", "futexAtOnce", {"loopAtOnce"}},
         {"sleeping loop and back / futex and back (time)", "sleepingFutex", {"sleepingLoop"}}});
}
