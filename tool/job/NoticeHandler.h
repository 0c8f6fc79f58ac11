// The client's ear: takes the notices of all stages of a chain.
#pragma once

#include <APipe.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <set>

#include "job/FrameTraffic.h"

namespace plexa {

/**
 * Passes buffers on to the traffic and lets other threads wait for the notices that come once. Its
 * looper is the client's; the notify message of the stages is made for it.
 *
 * Threading: the waits are thread-safe, the rest is loop-bound.
 */
class NoticeHandler : public android::AHandler {
public:
    /** `traffic` is borrowed until the looper has stopped. */
    explicit NoticeHandler(FrameTraffic* traffic) : mTraffic(traffic) {}

    /** Forgets the notices so far; before the chain's init. */
    void startAnew();
    /** Waits until the whole chain is up; false if a stage failed, or in a minute nothing came. */
    bool waitForInit();
    /** Waits until the whole chain is released, or nothing came in a minute. */
    void waitForRelease();

protected:
    void onMessageReceived(const android::sp<android::AMessage>& msg) override;

private:
    void waitForEither(android::APipe::Notice one, android::APipe::Notice other);
    void keep(int32_t notice);

    FrameTraffic* const mTraffic;
    android::Mutex mLock;
    android::Condition mArrived;
    std::set<int32_t> mNotices GUARDED_BY(mLock);  // completions and errors so far
};

}  // namespace plexa
