// How long a client waits for the notices that complete something.
#pragma once

#include <APipe.h>

#include <chrono>
#include <semaphore>
#include <vector>

namespace plexa::bench {

/// Notes when the notices come that complete something, on a looper of its own.
///
/// Threading: run from one thread.
class CompletionClient : public android::AHandler {
public:
    using Clock = std::chrono::steady_clock;

    CompletionClient();
    android::sp<android::AMessage> notify();
    /// Initialises the chain with tiny frames and waits for it.
    void init(const android::sp<android::APipe>& chain);
    Clock::time_point waitForCompletion();
    void stop() { mLooper->stop(); }

protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override;

private:
    const android::sp<android::ALooper> mLooper = new android::ALooper;
    Clock::time_point mWhen;
    std::counting_semaphore<> mCompleted{0};
};

/// Microseconds from the call to the notice of so many flushes of an idle pass-through chain, with
/// a pause before each.
std::vector<double> flushIdleChain(int stages, int times, std::chrono::microseconds pause);

}  // namespace plexa::bench
