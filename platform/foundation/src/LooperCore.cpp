// The handlers of a looper.
#include "LooperCore.h"

#include <utility>

namespace android::host {

void LooperCore::addHandler(AHandler::handler_id id, const wp<AHandler>& handler) {
    const std::lock_guard lock(mLock);
    mHandlers.add(id, handler);
}

wp<AHandler> LooperCore::takeHandler(AHandler::handler_id id) {
    const std::lock_guard lock(mLock);
    const ssize_t index = mHandlers.indexOfKey(id);
    if (index < 0) return nullptr;
    wp<AHandler> handler = mHandlers.valueAt(static_cast<size_t>(index));
    mHandlers.removeItemsAt(static_cast<size_t>(index));
    return handler;
}

LooperCore::Handlers LooperCore::takeHandlers() {
    const std::lock_guard lock(mLock);
    return std::exchange(mHandlers, {});
}

}  // namespace android::host
