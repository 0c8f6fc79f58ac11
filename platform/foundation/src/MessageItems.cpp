// Search and end of a message's values.
#include <host/MessageItems.h>
#include <media/stagefright/foundation/AMessage.h>

#include <memory>

namespace android::host {

// Without calls, for it is where most of a message's time goes.
const MessageValue* MessageItems::find(const ItemKey& key) const {
    if (key.text().size() > ItemName::kMaxInline) return findLong(key);
    for (size_t i = 0; i < mInlineCount; ++i) {
        if (mInline[i].name.isShort(key)) return &mInline[i].value;
    }
    return mMore.empty() ? nullptr : findInMore(key);
}

const MessageValue* MessageItems::findLong(const ItemKey& key) const {
    for (size_t i = 0; i < size(); ++i) {
        if ((*this)[i].name.isLong(key)) return &(*this)[i].value;
    }
    return nullptr;
}

const MessageValue* MessageItems::findInMore(const ItemKey& key) const {
    for (const MessageItem& item : mMore) {
        if (item.name.isShort(key)) return &item.value;
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
