// A handler's bond with its looper.
#include "Registration.h"

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

namespace android {

AHandler::AHandler() = default;

AHandler::~AHandler() = default;

AHandler::handler_id AHandler::id() const {
    return mRegistration != nullptr ? mRegistration->id : 0;
}

sp<ALooper> AHandler::looper() const {
    return getLooper().promote();
}

wp<ALooper> AHandler::getLooper() const {
    return mRegistration != nullptr ? mRegistration->looper : nullptr;
}

}  // namespace android
