// Storage and search of a message's values.
#include <host/MessageItems.h>
#include <media/stagefright/foundation/AMessage.h>

#include <memory>
#include <utility>

namespace android::host {

template <typename... Args>
MessageItem& MessageItems::append(Args&&... args) {
    if (mInlineCount == kInline) return mMore.emplace_back(std::forward<Args>(args)...);
    MessageItem* item = std::construct_at(&mInline[mInlineCount], std::forward<Args>(args)...);
    ++mInlineCount;
    return *item;
}

MessageValue& MessageItems::slotFor(std::string_view name) {
    const MessageValue* present = find(name);
    return present != nullptr ? const_cast<MessageValue&>(*present) : append(name).value;
}

const MessageValue* MessageItems::find(std::string_view name) const {
    for (size_t i = 0; i < mInlineCount; ++i) {
        if (mInline[i].name == name) return &mInline[i].value;
    }
    for (const MessageItem& item : mMore) {
        if (item.name == name) return &item.value;
    }
    return nullptr;
}

void MessageItems::add(const ItemName& name, const MessageValue& value) {
    append(name, value);
}

void MessageItems::clear() {
    while (!mMore.empty())
        mMore.pop_back();
    while (mInlineCount > 0)
        std::destroy_at(&mInline[--mInlineCount]);
}

}  // namespace android::host
