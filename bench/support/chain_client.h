// A client that keeps a chain fed from a fixed set of buffers, for measuring.
#pragma once

#include <APipe.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <semaphore>
#include <vector>

namespace plexa::bench {

/// Queues every input and output again as soon as its notice says that it is free, until as many
/// frames as asked for have come out; or queues an input whenever it is told to.
///
/// Threading: run from one thread at a time; notices arrive on the client's own looper.
class ChainClient : public android::AHandler {
public:
    /// Starts the client's looper. The notify message to give to the stages is notify().
    static android::sp<ChainClient> create();

    android::sp<android::AMessage> notify();

    /// Initialises the chain and takes the buffers that feed it; false if it reports an error.
    bool start(const android::sp<android::APipe>& chain, const android::sp<android::AMessage>& src,
               const android::sp<android::AMessage>& dst,
               std::vector<android::sp<android::APipeBuffer>> inputs,
               std::vector<android::sp<android::APipeBuffer>> outputs);

    /// Starts to send so many frames through. finish() waits for the last; it is false if the chain
    /// reports an error. run() does both.
    void begin(int frames);
    bool finish();
    bool run(int frames);

    /// From here on frames come by feed() alone, and `heard` is called on the client's looper for
    /// each that has come out.
    void listen(std::function<void()> heard);
    /// Sends one frame through from the calling thread, which waits while no input is idle.
    void feed();

    /// Releases the chain and ends the looper.
    void stop();

protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override;

private:
    // Posted to itself: from there on everything happens on its looper.
    static constexpr uint32_t kWhatBegin = 1;

    static int32_t bufferOf(const android::sp<android::AMessage>& notice);
    void onBegin(int frames);
    void onInputDone(int32_t id);
    void onOutputDone(int32_t id);
    void queueInput(int32_t id);
    void queueOutput(int32_t id);
    void tell(bool& event);
    bool waitFor(const bool& event);

    android::sp<android::ALooper> mLooper;
    android::sp<android::APipe> mChain;
    android::sp<android::APipe> mLast;
    std::vector<android::sp<android::APipeBuffer>> mInputs;
    std::vector<android::sp<android::APipeBuffer>> mOutputs;
    std::vector<int32_t> mIdleInputs;
    int64_t mNextTimeUs = 0;
    int mToQueue = 0;
    int mToReceive = 0;
    std::function<void()> mHeard;
    std::counting_semaphore<> mFree{0};  // inputs that feed() may queue, the oldest first
    size_t mFed = 0;

    std::mutex mLock;  // guards what follows
    std::condition_variable mChanged;
    bool mInitialized = false;
    bool mReceived = false;
    bool mReleased = false;
    bool mFailed = false;
};

}  // namespace plexa::bench
