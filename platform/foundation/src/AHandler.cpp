// A handler's bond with its looper.
#include "LooperCore.h"

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

#include <mutex>
#include <utility>

namespace android {

AHandler::AHandler() = default;

AHandler::~AHandler() {
    if (mRegistration != nullptr) mRegistration->core->takeHandler(mRegistration->id);
}

AHandler::handler_id AHandler::id() const {
    const std::lock_guard lock(mLock);
    return mRegistration != nullptr ? mRegistration->id : 0;
}

sp<ALooper> AHandler::looper() const {
    return getLooper().promote();
}

wp<ALooper> AHandler::getLooper() const {
    const std::lock_guard lock(mLock);
    return mRegistration != nullptr ? mRegistration->looper : nullptr;
}

sp<host::Registration> AHandler::registration() const {
    const std::lock_guard lock(mLock);
    return mRegistration;
}

bool AHandler::replaceRegistration(handler_id expected, sp<host::Registration> next) {
    const std::lock_guard lock(mLock);
    if ((mRegistration != nullptr ? mRegistration->id : 0) != expected) return false;
    mRegistration.swap(next);
    return true;
}

}  // namespace android
