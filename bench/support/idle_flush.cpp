// How long a client waits for the notices that complete something.
#include "support/idle_flush.h"

#include <cstdlib>
#include <thread>

#include "support/frames.h"
#include "support/pass_through.h"

namespace plexa::bench {

using namespace android;

CompletionClient::CompletionClient() {
    mLooper->setName("bench_client");
    mLooper->start(false, false, APipe::kLooperPriority);
}

sp<AMessage> CompletionClient::notify() {
    mLooper->registerHandler(this);
    return new AMessage(0, this);
}

void CompletionClient::init(const sp<APipe>& chain) {
    const auto any = format(APipeBuffer::Nv12, {16, 16});
    if (chain->init(any, any) != OK) std::abort();
    waitForCompletion();
}

CompletionClient::Clock::time_point CompletionClient::waitForCompletion() {
    mCompleted.acquire();
    return mWhen;
}

void CompletionClient::onMessageReceived(const sp<AMessage>& msg) {
    const auto now = Clock::now();
    int32_t what = 0;
    msg->findInt32("what", &what);
    if (what == APipe::kWhatError) std::abort();
    if (what == APipe::kWhatInputBufferDone || what == APipe::kWhatOutputBufferDone) return;
    mWhen = now;
    mCompleted.release();
}

std::vector<double> flushIdleChain(int stages, int times, std::chrono::microseconds pause) {
    const sp<CompletionClient> client = new CompletionClient;
    const sp<APipe> chain = passThroughChain(stages, client->notify());
    client->init(chain);
    std::vector<double> waits;
    for (int i = 0; i < times; ++i) {
        std::this_thread::sleep_for(pause);
        const auto called = CompletionClient::Clock::now();
        chain->flush();
        const auto wait = client->waitForCompletion() - called;
        waits.push_back(std::chrono::duration<double, std::micro>(wait).count());
    }
    chain->release();
    client->waitForCompletion();
    client->stop();
    return waits;
}

}  // namespace plexa::bench
