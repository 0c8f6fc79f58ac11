// LooperCore: what a looper shares with its thread, its handlers and their messages.
#pragma once

#include "MessageQueue.h"

#include <utils/KeyedVector.h>
#include <utils/LightRefBase.h>

#include <mutex>

namespace android::host {

// Outlives the looper for as long as its thread or a message made for one of its handlers does.
// Threading: thread-safe, but for the consumer's side of the queue.
class LooperCore : public LightRefBase<LooperCore> {
public:
    MessageQueue queue;

    void addHandler(AHandler::handler_id id, const wp<AHandler>& handler);
    // The handler that was registered under the id, null if there is none. It is forgotten.
    wp<AHandler> takeHandler(AHandler::handler_id id);
    // All of them, by id; they are forgotten.
    using Handlers = KeyedVector<AHandler::handler_id, wp<AHandler>>;
    Handlers takeHandlers();

private:
    std::mutex mLock;
    Handlers mHandlers;  // guarded by mLock
};

// The bond of one handler with one looper, shared by the handler and all messages made for it.
// Threading: immutable.
class Registration : public LightRefBase<Registration> {
public:
    Registration(AHandler::handler_id handlerId, const wp<AHandler>& itsHandler,
                 const wp<ALooper>& itsLooper, const sp<LooperCore>& itsCore)
        : id(handlerId), handler(itsHandler), looper(itsLooper), core(itsCore) {}

    // Off the line of the count, which everyone who makes a message writes.
    alignas(64) const AHandler::handler_id id;
    const wp<AHandler> handler;
    const wp<ALooper> looper;
    const sp<LooperCore> core;
};

}  // namespace android::host
