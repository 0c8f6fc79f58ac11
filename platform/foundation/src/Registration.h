// Registration: the bond of one handler with one looper.
#pragma once

#include "MessageQueue.h"

#include <media/stagefright/foundation/AHandler.h>
#include <utils/LightRefBase.h>

namespace android::host {

// Shared by the handler and all messages made for it. Keeps the queue, but neither the handler nor
// the looper.
// Threading: immutable.
class Registration : public LightRefBase<Registration> {
public:
    Registration(AHandler::handler_id handlerId, const wp<AHandler>& itsHandler,
                 const wp<ALooper>& itsLooper, const sp<MessageQueue>& itsQueue)
        : id(handlerId), handler(itsHandler), looper(itsLooper), queue(itsQueue) {}

    const AHandler::handler_id id;
    const wp<AHandler> handler;
    const wp<ALooper> looper;
    const sp<MessageQueue> queue;
};

}  // namespace android::host
