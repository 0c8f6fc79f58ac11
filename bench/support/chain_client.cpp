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
    for (size_t id = 0; id < mInputs.size(); ++id)
        mIdleInputs.push_back(static_cast<int32_t>(id));
    if (mChain->init(src, dst) != OK || !waitFor(mInitialized)) return false;
    for (size_t id = 0; id < mOutputs.size(); ++id)
        queueOutput(static_cast<int32_t>(id));
    return true;
}

void ChainClient::begin(int frames) {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mReceived = frames == 0;
    }
    const sp<AMessage> message = new AMessage(kWhatBegin, this);
    message->setInt32("frames", frames);
    message->post();
}

void ChainClient::onBegin(int frames) {
    mToReceive = frames;
    mToQueue = frames;
    while (mToQueue > 0 && !mIdleInputs.empty()) {
        --mToQueue;
        queueInput(mIdleInputs.back());
        mIdleInputs.pop_back();
    }
}

bool ChainClient::finish() {
    return waitFor(mReceived);
}

bool ChainClient::run(int frames) {
    begin(frames);
    return finish();
}

void ChainClient::listen(std::function<void()> heard) {
    mHeard = std::move(heard);
    mFree.release(static_cast<std::ptrdiff_t>(mInputs.size()));
}

void ChainClient::feed() {
    mFree.acquire();
    queueInput(static_cast<int32_t>(mFed++ % mInputs.size()));
}

void ChainClient::stop() {
    mChain->release();
    waitFor(mReleased);
    mChain.clear();
    mLast.clear();
    mLooper->stop();
}

void ChainClient::onMessageReceived(const sp<AMessage>& msg) {
    int32_t value = 0;
    if (msg->what() == kWhatBegin) {
        msg->findInt32("frames", &value);
        return onBegin(value);
    }
    msg->findInt32("what", &value);
    switch (value) {
        case APipe::kWhatInputBufferDone:
            return onInputDone(bufferOf(msg));
        case APipe::kWhatOutputBufferDone:
            return onOutputDone(bufferOf(msg));
        case APipe::kWhatInitCompleted:
            return tell(mInitialized);
        case APipe::kWhatReleaseCompleted:
            return tell(mReleased);
        case APipe::kWhatError:
            return tell(mFailed);
    }
}

int32_t ChainClient::bufferOf(const sp<AMessage>& notice) {
    int32_t id = 0;
    notice->findInt32("bufferId", &id);
    return id;
}

void ChainClient::onInputDone(int32_t id) {
    if (mHeard) {
        mFree.release();
    } else if (mToQueue > 0) {
        --mToQueue;
        queueInput(id);
    } else {
        mIdleInputs.push_back(id);
    }
}

void ChainClient::onOutputDone(int32_t id) {
    queueOutput(id);
    if (mHeard) return mHeard();
    if (--mToReceive == 0) tell(mReceived);
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

void ChainClient::tell(bool& event) {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        event = true;
    }
    mChanged.notify_all();
}

bool ChainClient::waitFor(const bool& event) {
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait_for(lock, std::chrono::minutes(2), [&] { return event || mFailed; });
    return event && !mFailed;
}

}  // namespace plexa::bench
