// The lock of a stage's registration, and copies made under it.
#include "APipeLoopLock.h"

namespace android {

APipeLoopLock::APipeLoopLock(AHandler* stage) : mStage(stage) {}

sp<AMessage> APipeLoopLock::copy(const sp<AMessage>& message) const {
    // dup() holds the stage for a moment. Its end, if that was the last reference, takes the lock.
    const sp<AHandler> stage = mStage.promote();
    const Mutex::Autolock lock(mMutex);
    return message->dup();
}

}  // namespace android
