// Values, posting and delivery.
#define LOG_TAG "AMessage"

#include "LooperCore.h"
#include "MessageText.h"

#include <log/log.h>
#include <media/stagefright/foundation/AMessage.h>

#include <utility>

namespace android {

AMessage::AMessage() = default;

AMessage::AMessage(uint32_t what, const sp<const AHandler>& handler)
    : AMessage(what, handler.get()) {}

AMessage::AMessage(uint32_t what, const AHandler* handler)
    : mWhat(what), mTarget(handler != nullptr ? handler->registration() : nullptr) {}

AMessage::~AMessage() = default;

void AMessage::setTarget(const sp<const AHandler>& handler) {
    mTarget = handler != nullptr ? handler->registration() : nullptr;
}

bool AMessage::findRect(const char* name, int32_t* left, int32_t* top, int32_t* right,
                        int32_t* bottom) const {
    host::RectValue rect{};
    if (!find(name, &rect)) return false;
    *left = rect.left;
    *top = rect.top;
    *right = rect.right;
    *bottom = rect.bottom;
    return true;
}

sp<AMessage> AMessage::dup() const {
    sp<AMessage> copy = sp<AMessage>::make();
    copy->mWhat = mWhat;
    copy->mTarget = mTarget;
    for (size_t i = 0; i < mItems.size(); ++i) {
        const auto& [name, value] = mItems[i];
        const auto* nested = std::get_if<sp<AMessage>>(&value);
        if (nested != nullptr && *nested != nullptr) {
            copy->mItems.add(name, host::MessageValue((*nested)->dup()));
        } else {
            copy->mItems.add(name, value);
        }
    }
    return copy;
}

status_t AMessage::post(int64_t delayUs) {
    sp<AMessage> self(this);
    if (mTarget != nullptr && mTarget->core->queue.push(self, delayUs)) return OK;
    if (mTarget == nullptr) {
        ALOGW("message '%s' dropped: its target has no looper", host::nameOf(mWhat).c_str());
    } else {
        ALOGW("message '%s' dropped: the looper of its target %d is gone or stopped",
              host::nameOf(mWhat).c_str(), mTarget->id);
    }
    return NAME_NOT_FOUND;
}

void AMessage::deliver(const sp<AMessage>& self, AHandler* handler) {
    if (handler != nullptr) {
        handler->onMessageReceived(self);
    } else {
        ALOGW("message '%s' dropped: its target %d is gone", host::nameOf(mWhat).c_str(),
              mTarget->id);
    }
}

}  // namespace android
