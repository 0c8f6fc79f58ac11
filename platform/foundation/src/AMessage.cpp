// Values, posting and delivery.
#define LOG_TAG "AMessage"

#include "LooperCore.h"
#include "MessageText.h"

#include <log/log.h>
#include <media/stagefright/foundation/AMessage.h>

#include <utility>

namespace android {

namespace {

template <typename T>
bool findValue(const host::MessageItems& items, const char* name, T* value) {
    const host::MessageValue* item = items.find(name);
    const T* found = item != nullptr ? std::get_if<T>(item) : nullptr;
    if (found == nullptr) return false;
    *value = *found;
    return true;
}

}  // namespace

AMessage::AMessage() = default;

AMessage::AMessage(uint32_t what, const sp<const AHandler>& handler)
    : AMessage(what, handler.get()) {}

AMessage::AMessage(uint32_t what, const AHandler* handler)
    : mWhat(what), mTarget(handler != nullptr ? handler->registration() : nullptr) {}

AMessage::~AMessage() = default;

void AMessage::setTarget(const sp<const AHandler>& handler) {
    mTarget = handler != nullptr ? handler->registration() : nullptr;
}

void AMessage::setInt32(const char* name, int32_t value) {
    mItems.set(name, value);
}

void AMessage::setInt64(const char* name, int64_t value) {
    mItems.set(name, value);
}

void AMessage::setObject(const char* name, sp<RefBase> object) {
    mItems.set(name, std::move(object));
}

void AMessage::setBuffer(const char* name, sp<ABuffer> buffer) {
    mItems.set(name, std::move(buffer));
}

void AMessage::setMessage(const char* name, sp<AMessage> message) {
    mItems.set(name, std::move(message));
}

void AMessage::setRect(const char* name, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    mItems.set(name, host::RectValue{left, top, right, bottom});
}

bool AMessage::findInt32(const char* name, int32_t* value) const {
    return findValue(mItems, name, value);
}

bool AMessage::findInt64(const char* name, int64_t* value) const {
    return findValue(mItems, name, value);
}

bool AMessage::findObject(const char* name, sp<RefBase>* object) const {
    return findValue(mItems, name, object);
}

bool AMessage::findBuffer(const char* name, sp<ABuffer>* buffer) const {
    return findValue(mItems, name, buffer);
}

bool AMessage::findMessage(const char* name, sp<AMessage>* message) const {
    return findValue(mItems, name, message);
}

bool AMessage::findRect(const char* name, int32_t* left, int32_t* top, int32_t* right,
                        int32_t* bottom) const {
    host::RectValue rect{};
    if (!findValue(mItems, name, &rect)) return false;
    *left = rect.left;
    *top = rect.top;
    *right = rect.right;
    *bottom = rect.bottom;
    return true;
}

bool AMessage::contains(const char* name) const {
    return mItems.find(name) != nullptr;
}

size_t AMessage::countEntries() const {
    return mItems.size();
}

void AMessage::clear() {
    mItems.clear();
}

sp<AMessage> AMessage::dup() const {
    sp<AMessage> copy = sp<AMessage>::make();
    copy->mWhat = mWhat;
    copy->mTarget = mTarget;
    for (size_t i = 0; i < mItems.size(); ++i) {
        const auto& [name, value] = mItems.at(i);
        const auto* nested = std::get_if<sp<AMessage>>(&value);
        if (nested != nullptr && *nested != nullptr) {
            copy->mItems.set(name, (*nested)->dup());
        } else {
            copy->mItems.set(name, value);
        }
    }
    return copy;
}

status_t AMessage::post(int64_t delayUs) {
    const sp<AMessage> self(this);
    if (mTarget == nullptr) {
        ALOGW("message '%s' dropped: its target has no looper", host::nameOf(mWhat).c_str());
        return NAME_NOT_FOUND;
    }
    if (!mTarget->core->queue.push(self, delayUs)) {
        ALOGW("message '%s' dropped: the looper of its target %d is gone or stopped",
              host::nameOf(mWhat).c_str(), mTarget->id);
        return NAME_NOT_FOUND;
    }
    return OK;
}

void AMessage::deliver(const sp<AMessage>& self) {
    const sp<AHandler> handler = mTarget->handler.promote();
    if (handler == nullptr) {
        ALOGW("message '%s' dropped: its target %d is gone", host::nameOf(mWhat).c_str(),
              mTarget->id);
        return;
    }
    handler->onMessageReceived(self);
}

}  // namespace android
