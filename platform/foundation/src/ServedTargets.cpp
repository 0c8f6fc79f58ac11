// References dropped and taken once for a run of messages.
#include "ServedTargets.h"

#include "LooperCore.h"

#include <utility>

namespace android::host {

ServedTargets::ServedTargets() = default;

ServedTargets::~ServedTargets() = default;

AHandler* ServedTargets::handlerOf(const Registration& target) {
    if (target.id == mHandlerId) return mHandler.get();
    letHandlerGo();
    mHandler = target.handler.promote();
    if (mHandler != nullptr) mHandlerId = target.id;
    return mHandler.get();
}

void ServedTargets::endMessage() {
    if (mHandlerId != 0 && mHandler->getStrongCount() == 1) letHandlerGo();
}

void ServedTargets::keep(sp<Registration> target) {
    if (mSpentCount == mSpent.size()) letSpentGo();
    mSpent[mSpentCount++] = std::move(target);
}

void ServedTargets::letGo() {
    letHandlerGo();
    letSpentGo();
}

void ServedTargets::letHandlerGo() {
    mHandlerId = 0;
    mHandler.clear();
}

void ServedTargets::letSpentGo() {
    while (mSpentCount > 0)
        mSpent[--mSpentCount].clear();
}

}  // namespace android::host
