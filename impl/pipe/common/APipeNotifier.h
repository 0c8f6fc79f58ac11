// APipeNotifier: a stage's talk with its client.
#pragma once

#include <android-base/thread_annotations.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace android {

/// Posts notices: copies of the client's notify message, without which there are none. `what` is an
/// APipe::Notice.
///
/// Threading: thread-safe.
class APipeNotifier {
public:
    APipeNotifier(const sp<AMessage>& notify, const std::string& stage);

    void error(int32_t what, int32_t err);
    void inputDone(int32_t what, int32_t bufferId, int32_t surfaceId);
    void outputDone(int32_t what, int32_t bufferId, int64_t timeUs, int32_t flag);
    void extraData(int32_t what, const sp<ABuffer>& data);
    void completed(int32_t what);

    int64_t postedCount() const { return mPosted.load(std::memory_order_relaxed); }

    /// How many notices the client's loop has not taken yet, at least. One in sixteen is watched:
    /// it counts those from the watched one on, and sees up to fifteen less.
    int64_t untakenCount() const EXCLUDES(mMutex);

private:
    // It tells by its end that the client has handled all notices up to it.
    struct Watched {
        wp<AMessage> notice;
        int64_t number = 0;
    };

    sp<AMessage> create(int32_t what) const;
    void post(const sp<AMessage>& notice) EXCLUDES(mMutex);
    Watched watched() const EXCLUDES(mMutex);

    const sp<AMessage> mNotify;
    const std::string mStage;
    std::atomic<int64_t> mPosted = 0;

    mutable Mutex mMutex;
    Watched mWatched GUARDED_BY(mMutex);
};

}  // namespace android
