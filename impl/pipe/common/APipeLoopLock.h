// APipeLoopLock: guards a stage's registration with its looper.
#pragma once

#include <android-base/thread_annotations.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android {

/// A message reads from its handler which looper that is registered with, when it is made and again
/// when it is copied, and takes no lock for it. So a stage registers, unregisters and makes its
/// messages under this one. The buffers that it lends share it: whoever gives one back copies the
/// stage's reply, on a thread of its own and perhaps after the stage has gone.
///
/// Threading: thread-safe.
class APipeLoopLock : public RefBase {
public:
    explicit APipeLoopLock(AHandler* stage);

    /// A copy of a message that goes to the stage.
    sp<AMessage> copy(const sp<AMessage>& message) const EXCLUDES(mMutex);

    mutable Mutex mMutex;

protected:
    ~APipeLoopLock() override = default;

private:
    const wp<AHandler> mStage;
};

}  // namespace android
