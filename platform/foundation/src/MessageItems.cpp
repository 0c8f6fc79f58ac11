// Search and end of a message's values.
#include <host/MessageItems.h>
#include <media/stagefright/foundation/AMessage.h>

#include <memory>

namespace android::host {

const MessageValue* MessageItems::find(const ItemKey& key) const {
    for (size_t i = 0; i < mInlineCount; ++i) {
        if (mInline[i].name == key) return &mInline[i].value;
    }
    for (const MessageItem& item : mMore) {
        if (item.name == key) return &item.value;
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
