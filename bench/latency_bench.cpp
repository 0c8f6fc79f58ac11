// How long a client waits for a flush of an idle chain, and for a release while one stage is slow:
// from the call to the notice, beside the slow stage's own time for a frame.
//
//   latency_bench [rounds]
#include <android/log.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <semaphore>
#include <thread>
#include <vector>

#include "support/frames.h"
#include "support/idle_flush.h"
#include "support/pass_through.h"

namespace {

using namespace android;
using namespace plexa::bench;
using Clock = std::chrono::steady_clock;

constexpr int kStages = 4;
constexpr int kDefaultRounds = 1000;
constexpr int kWaiting = 4;  // frames
constexpr Size kTiny = {16, 16};
constexpr std::chrono::milliseconds kSlowFrame{5};

double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

// Waits in place of its work, as for a device that is busy; when it began and ended last is there
// for who has heard the notice of its release.
class SlowStage : public PassThroughStage {
public:
    using PassThroughStage::PassThroughStage;

    void onWork() override {
        workOnFirstItem([this](const APipeItem&) {
            mBegan = Clock::now();
            mStarted.release();
            std::this_thread::sleep_for(kSlowFrame);
            mEnded = Clock::now();
            return OK;
        });
    }

    std::counting_semaphore<> mStarted{0};
    Clock::time_point mBegan, mEnded;
};

void print(const char* what, std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const auto at = [&](size_t percent) { return samples[(samples.size() - 1) * percent / 100]; };
    std::printf("%-60s %10.1f %10.1f %10.1f\n", what, at(50), at(99), samples.back());
}

sp<APipeItem> itemOf(sp<APipeBuffer> APipeItem::*role, const sp<APipeBuffer>& buffer, int id) {
    sp<APipeItem> item = new APipeItem;
    buffer->getMeta()->setInt32("bufferId", id);
    buffer->getMeta()->setInt64("timeUs", id);
    (*item).*role = buffer;
    return item;
}

// The third of four stages is slow and has more frames waiting. The release is called at any
// moment of one.
void releaseWhileBusy(int rounds) {
    const sp<CompletionClient> client = new CompletionClient;
    const sp<AMessage> notify = client->notify();
    const sp<APipe> last = passThroughChain(1, notify);
    const sp<SlowStage> slow = new SlowStage(last, notify);
    const sp<APipe> second = new PassThroughStage(slow, notify);
    const sp<APipe> first = new PassThroughStage(second, notify);
    for (const sp<APipe>& stage : {first, second, sp<APipe>(slow)})
        stage->setItemGenerator(new APipeItemGenerator("latency"));
    const auto inputs = localBuffers(kWaiting, kTiny), outputs = localBuffers(kWaiting, kTiny);
    std::mt19937 random(1);
    std::vector<double> waits, frames, afterwards;
    int begun = 0;
    for (int i = 0; i < rounds; ++i) {
        client->init(first);
        for (int id = 0; id < kWaiting; ++id) {
            last->queueItem(itemOf(&APipeItem::mOutput, outputs[static_cast<size_t>(id)], id));
            first->queueItem(itemOf(&APipeItem::mInput, inputs[static_cast<size_t>(id)], id));
        }
        slow->mStarted.acquire();
        std::this_thread::sleep_for(kSlowFrame * static_cast<int>(random() % 100) / 100);
        const auto called = Clock::now();
        first->release();
        const auto heard = client->waitForCompletion();
        waits.push_back(microseconds(heard - called));
        frames.push_back(microseconds(slow->mEnded - slow->mBegan));
        afterwards.push_back(microseconds(heard - std::max(called, slow->mEnded)));
        begun += slow->mBegan > called;
        while (slow->mStarted.try_acquire()) {
        }
    }
    print("release of a chain of four with a slow stage", waits);
    print("  the slow stage's own time for the frame", frames);
    print("  what the release takes after the end of that frame", afterwards);
    std::printf("frames begun after the call: %d of %d rounds\n", begun, rounds);
    client->stop();
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : kDefaultRounds;
    // A release drops the replies of buffers on their way, and the log says so.
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    std::printf("%-60s %10s %10s %10s\n", "microseconds, from the call to the notice", "median",
                "p99", "most");
    print("flush of an idle chain of four", flushIdleChain(kStages, rounds, {}));
    releaseWhileBusy(rounds);
    return 0;
}
