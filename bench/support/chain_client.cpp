// A client that keeps a chain fed from a fixed set of buffers, for measuring.
#include "support/chain_client.h"

#include <chrono>
#include <utility>

namespace plexa::bench {

using namespace android;

sp<ChainClient> ChainClient::create() {
    sp<ChainClient> client = new ChainClient;
    client->mLooper = new ALooper;
    client->mLooper->setName("bench_client");
    client->mLooper->start(false, false, APipe::kLooperPriority);
    client->mLooper->registerHandler(client);
    return client;
}

sp<AMessage> ChainClient::notify() {
    return new AMessage(0, this);
}

bool ChainClient::start(const sp<APipe>& chain, const sp<AMessage>& src, const sp<AMessage>& dst,
                        std::vector<sp<APipeBuffer>> inputs, std::vector<sp<APipeBuffer>> outputs) {
    mChain = chain;
    mLast = chain->getLastPipe();
    mInputs = std::move(inputs);
    mOutputs = std::move(outputs);
    if (mChain->init(src, dst) != OK || !waitFor(mInitialized)) return false;
    for (size_t id = 0; id < mInputs.size(); ++id)
        mIdleInputs.push_back(static_cast<int32_t>(id));
    for (size_t id = 0; id < mOutputs.size(); ++id)
        queueOutput(static_cast<int32_t>(id));
    return true;
}

void ChainClient::begin(int frames) {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mReceived = frames == 0;
        mToReceive = frames;
        mToQueue = frames;
    }
    for (int32_t id = takeIdleInput(); id >= 0; id = takeIdleInput())
        queueInput(id);
}

int32_t ChainClient::takeIdleInput() {
    const std::lock_guard<std::mutex> lock(mLock);
    if (mToQueue == 0 || mIdleInputs.empty()) return -1;
    --mToQueue;
    const int32_t id = mIdleInputs.back();
    mIdleInputs.pop_back();
    return id;
}

bool ChainClient::finish() {
    return waitFor(mReceived);
}

bool ChainClient::run(int frames) {
    begin(frames);
    return finish();
}

void ChainClient::stop() {
    mChain->release();
    waitFor(mReleased);
    mChain.clear();
    mLast.clear();
    mLooper->stop();
}

void ChainClient::onMessageReceived(const sp<AMessage>& msg) {
    int32_t what = 0;
    int32_t id = 0;
    msg->findInt32("what", &what);
    msg->findInt32("bufferId", &id);
    bool queueAgain = false;
    bool wake = what != APipe::kWhatInputBufferDone;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        if (what == APipe::kWhatInputBufferDone) {
            queueAgain = mToQueue > 0;
            if (queueAgain) {
                --mToQueue;
            } else {
                mIdleInputs.push_back(id);
            }
        }
        if (what == APipe::kWhatOutputBufferDone) wake = mReceived = --mToReceive == 0;
        if (what == APipe::kWhatInitCompleted) mInitialized = true;
        if (what == APipe::kWhatReleaseCompleted) mReleased = true;
        if (what == APipe::kWhatError) mFailed = true;
    }
    if (queueAgain) queueInput(id);
    if (what == APipe::kWhatOutputBufferDone) queueOutput(id);
    if (wake) mChanged.notify_all();
}

void ChainClient::queueInput(int32_t id) {
    sp<APipeItem> item = new APipeItem;
    item->mInput = mInputs[static_cast<size_t>(id)];
    item->mInput->getMeta()->setInt32("bufferId", id);
    item->mInput->getMeta()->setInt64("timeUs", mNextTimeUs++);
    mChain->queueItem(item);
}

void ChainClient::queueOutput(int32_t id) {
    sp<APipeItem> item = new APipeItem;
    item->mOutput = mOutputs[static_cast<size_t>(id)];
    item->mOutput->getMeta()->setInt32("bufferId", id);
    mLast->queueItem(item);
}

bool ChainClient::waitFor(const bool& event) {
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait_for(lock, std::chrono::minutes(2), [&] { return event || mFailed; });
    return event && !mFailed;
}

}  // namespace plexa::bench
