// A handler's bond with its looper.
#include "LooperCore.h"

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

#include <mutex>
#include <utility>

namespace android {

AHandler::AHandler() = default;

AHandler::~AHandler() {
    if (mBond.registration != nullptr)
        mBond.registration->core->takeHandler(mBond.registration->id);
}

AHandler::handler_id AHandler::id() const {
    const std::lock_guard lock(mBond.lock);
    return mBond.registration != nullptr ? mBond.registration->id : 0;
}

sp<ALooper> AHandler::looper() const {
    return getLooper().promote();
}

wp<ALooper> AHandler::getLooper() const {
    const std::lock_guard lock(mBond.lock);
    return mBond.registration != nullptr ? mBond.registration->looper : nullptr;
}

sp<host::Registration> AHandler::registration() const {
    const std::lock_guard lock(mBond.lock);
    return mBond.registration;
}

bool AHandler::replaceRegistration(handler_id expected, sp<host::Registration> next) {
    const std::lock_guard lock(mBond.lock);
    if ((mBond.registration != nullptr ? mBond.registration->id : 0) != expected) return false;
    mBond.registration.swap(next);
    return true;
}

}  // namespace android
