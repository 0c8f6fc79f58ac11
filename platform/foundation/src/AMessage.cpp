// Values, posting and delivery.
#define LOG_TAG "AMessage"

#include "MessageText.h"
#include "Registration.h"

#include <log/log.h>
#include <media/stagefright/foundation/AMessage.h>

#include <string>

namespace android {

AMessage::AMessage() = default;

AMessage::AMessage(uint32_t what, const sp<const AHandler>& handler)
    : AMessage(what, handler.get()) {}

AMessage::AMessage(uint32_t what, const AHandler* handler)
    : mWhat(what), mTarget(handler != nullptr ? handler->mRegistration : nullptr) {}

AMessage::~AMessage() = default;

void AMessage::setTarget(const sp<const AHandler>& handler) {
    mTarget = handler != nullptr ? handler->mRegistration : nullptr;
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

const char* AMessage::getEntryNameAt(size_t index, Type* type) const {
    // In the order of the alternatives of a MessageValue.
    constexpr Type kTypes[] = {kTypeInt32,  kTypeInt64,  kTypeRect,
                               kTypeObject, kTypeBuffer, kTypeMessage};
    if (index >= mItems.size()) return nullptr;
    const host::MessageItem& item = mItems[index];
    *type = kTypes[item.value.index()];
    return item.name.text();
}

sp<AMessage> AMessage::dup() const {
    sp<AMessage> copy = new AMessage(mWhat, targetHandler());
    for (size_t i = 0; i < mItems.size(); ++i) {
        const auto& [name, value] = mItems[i];
        if (const auto* nested = std::get_if<sp<AMessage>>(&value)) {
            LOG_ALWAYS_FATAL_IF(*nested == nullptr, "dup() of a message whose '%s' is null",
                                std::string(name.view()).c_str());
            copy->mItems.add(name, host::MessageValue((*nested)->dup()));
        } else {
            copy->mItems.add(name, value);
        }
    }
    return copy;
}

status_t AMessage::post(int64_t delayUs) {
    if (mTarget == nullptr) {
        ALOGW("message '%s' dropped: its target has no looper", host::nameOf(mWhat).c_str());
        return NAME_NOT_FOUND;
    }
    if (mTarget->queue->push(this, delayUs)) return OK;
    ALOGW("message '%s' dropped: the looper of its target %d is gone", host::nameOf(mWhat).c_str(),
          mTarget->id);
    return NAME_NOT_FOUND;
}

void AMessage::deliver() {
    if (const sp<AHandler> handler = targetHandler()) {
        handler->onMessageReceived(this);
    } else {
        ALOGW("message '%s' dropped: its target %d is gone", host::nameOf(mWhat).c_str(),
              mTarget != nullptr ? mTarget->id : 0);
    }
}

sp<AHandler> AMessage::targetHandler() const {
    return mTarget != nullptr ? mTarget->handler.promote() : nullptr;
}

}  // namespace android
