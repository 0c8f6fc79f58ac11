// What reference counts, messages and loops cost. Compare figures of one run only.
#include <benchmark/benchmark.h>
#include <log/log.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Trace.h>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <linux/futex.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/heap_counter.h"

namespace {

using android::AHandler;
using android::ALooper;
using android::AMessage;
using android::RefBase;
using android::sp;
using android::wp;

constexpr uint32_t kWhat = 1;

uint64_t sleepsOfProcess() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<uint64_t>(usage.ru_nvcsw);
}

// Shows the process's heap calls and sleeps per item from its construction on.
class Costs {
public:
    explicit Costs(benchmark::State& state) : mState(state) {}
    ~Costs() {
        show("heap/item", plexa::bench::heapCalls() - mHeapBefore);
        show("sleeps/item", sleepsOfProcess() - mSleepsBefore);
    }

private:
    void show(const char* name, uint64_t count) {
        mState.counters[name] =
            benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    }

    benchmark::State& mState;
    const uint64_t mHeapBefore = plexa::bench::heapCalls();
    const uint64_t mSleepsBefore = sleepsOfProcess();
};

struct Thing : RefBase {
    int32_t field = 0;
};

void strongCopy(benchmark::State& state) {
    const auto thing = sp<Thing>::make();
    for (auto _ : state) {
        const sp<Thing> copy(thing);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(strongCopy);

void weakPromote(benchmark::State& state) {
    const auto thing = sp<Thing>::make();
    const wp<Thing> weak(thing);
    for (auto _ : state) {
        const sp<Thing> strong = weak.promote();
        benchmark::DoNotOptimize(strong.get());
    }
}
BENCHMARK(weakPromote);

void objectLife(benchmark::State& state) {
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(sp<Thing>::make().get());
}
BENCHMARK(objectLife);

// A buffer's metadata as a stage sees it.
sp<AMessage> makeMeta() {
    auto meta = sp<AMessage>::make();
    meta->setInt32("bufferId", 1);
    meta->setInt32("surfaceId", 2);
    meta->setInt64("timeUs", 3);
    meta->setInt32("eos", 0);
    meta->setInt32("operation", 4);
    return meta;
}

void messageFind(benchmark::State& state) {
    const auto meta = makeMeta();
    int32_t value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(meta->findInt32("operation", &value));
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(messageFind);

void messageFindMissing(benchmark::State& state) {
    const auto meta = makeMeta();
    int32_t value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(meta->findInt32("use-wait-buffer", &value));
}
BENCHMARK(messageFindMissing);

void messageSet(benchmark::State& state) {
    const auto meta = makeMeta();
    int64_t value = 0;
    for (auto _ : state)
        meta->setInt64("timeUs", ++value);
}
BENCHMARK(messageSet);

void messageLifeOfFiveValues(benchmark::State& state) {
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(makeMeta().get());
}
BENCHMARK(messageLifeOfFiveValues);

void messageDup(benchmark::State& state) {
    const auto meta = makeMeta();
    const Costs costs(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(meta->dup().get());
}
BENCHMARK(messageDup);

// Counts messages; while `left` is above 0 it posts the next one itself.
class Counter : public AHandler {
public:
    void expect(int64_t more) { mLeft.store(more); }
    int64_t left() const { return mLeft.load(std::memory_order_acquire); }
    void waitForAll() const {
        for (int64_t now = left(); now > 0; now = left())
            mLeft.wait(now);
    }
    bool postsItself = false;

protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        int32_t generation = 0;
        benchmark::DoNotOptimize(msg->findInt32("generation", &generation));
        const int64_t now = mLeft.load(std::memory_order_relaxed) - 1;
        mLeft.store(now, std::memory_order_release);
        if (now <= 0) {
            mLeft.notify_all();
        } else if (postsItself) {
            send();
        }
    }

public:
    void send() const {
        const auto msg = sp<AMessage>::make(kWhat, this);
        msg->setInt32("generation", 1);
        msg->post();
    }

private:
    std::atomic<int64_t> mLeft{0};
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
};

// Message made, posted, handled and destroyed, all on the loop's thread.
void postAndHandle(benchmark::State& state) {
    constexpr int64_t kMessages = 10'000;
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
BENCHMARK(postAndHandle)->MeasureProcessCPUTime()->UseRealTime();

// Threads post to one loop as fast as they can, each waiting for its messages now and then, so
// that no more are under way than the block pool keeps.
void feedBusyLoop(benchmark::State& state) {
    constexpr int64_t kUnderWay = 256;
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
        for (int64_t i = 0; i < kUnderWay; ++i)
            counter->send();
        counter->waitForAll();
    }
    if (state.thread_index() == 0) looper.clear();
}
BENCHMARK(feedBusyLoop)->ThreadRange(1, 4)->MeasureProcessCPUTime()->UseRealTime();

// One message to a loop that sleeps, and back to this thread, which sleeps meanwhile.
void handOffAndBack(benchmark::State& state) {
    Loop loop;
    for (auto _ : state) {
        loop.counter->expect(1);
        loop.counter->send();
        loop.counter->waitForAll();
    }
}
BENCHMARK(handOffAndBack)->MeasureProcessCPUTime()->UseRealTime();

void futexWake(std::atomic<uint32_t>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void futexAwait(std::atomic<uint32_t>& word, uint32_t value) {
    for (uint32_t now = word.load(); now != value; now = word.load()) {
        syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, now, nullptr, nullptr, 0);
    }
}

// The least that a hand-off there and back can cost here.
void futexPingPong(benchmark::State& state) {
    constexpr uint32_t kEnd = ~0U;
    std::atomic<uint32_t> ball{0};
    std::thread other([&] {
        for (uint32_t turn = 1;; turn += 2) {
            uint32_t now = ball.load();
            while (now != turn && now != kEnd) {
                syscall(SYS_futex, &ball, FUTEX_WAIT_PRIVATE, now, nullptr, nullptr, 0);
                now = ball.load();
            }
            if (now == kEnd) return;
            ball.store(turn + 1);
            futexWake(ball);
        }
    });
    uint32_t turn = 0;
    for (auto _ : state) {
        ball.store(turn + 1);
        futexWake(ball);
        turn += 2;
        futexAwait(ball, turn);
    }
    ball.store(kEnd);
    futexWake(ball);
    other.join();
}
BENCHMARK(futexPingPong)->MeasureProcessCPUTime()->UseRealTime();

void logBelowThreshold(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        ALOGV("value %d", ++value);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(logBelowThreshold);

void traceOff(benchmark::State& state) {
    for (auto _ : state) {
        ATRACE_CALL();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(traceOff);

}  // namespace
