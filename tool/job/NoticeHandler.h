// The client's ear: takes the notices of all stages of a chain.
#pragma once

#include <APipe.h>

#include <condition_variable>
#include <mutex>
#include <set>

namespace plexa {

/** Hears of every buffer that comes home, on the thread that handles notices. */
class NoticeListener {
public:
    virtual void onInputDone(int bufferId) = 0;
    /** `hasFrame` is false for a buffer that came back as it was. */
    virtual void onOutputDone(int bufferId, int64_t timeUs, bool hasFrame) = 0;
    /** A stage has failed and takes no more items. */
    virtual void onChainError(int status) = 0;

protected:
    ~NoticeListener() = default;
};

/**
 * Passes buffers on to a listener and lets other threads wait for the notices that come once. Its
 * looper is the client's; the notify message of the stages is made for it.
 *
 * Threading: the waits are thread-safe, the rest is loop-bound.
 */
class NoticeHandler : public android::AHandler {
public:
    /** `listener` is borrowed until the looper has stopped. */
    explicit NoticeHandler(NoticeListener* listener) : mListener(listener) {}

    /** Forgets the notices so far; before the chain's init. */
    void startAnew();
    /** Waits until the whole chain is up; false if a stage failed, or in a minute nothing came. */
    bool waitForInit();
    /** Waits until the whole chain is released, at most a minute. */
    void waitForRelease();

protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override;

private:
    void waitForEither(android::APipe::Notice one, android::APipe::Notice other);
    void keep(int32_t notice);

    NoticeListener* const mListener;
    std::mutex mLock;
    std::condition_variable mArrived;
    std::set<int32_t> mNotices;  // completions and errors so far; guarded by mLock
};

}  // namespace plexa
