// In-place storage and search of a message's values.
#include <host/MessageItems.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <memory>
#include <new>
#include <utility>

namespace android::host {

MessageItems::~MessageItems() {
    clear();
}

MessageItem* MessageItems::inlineItem(size_t index) {
    return std::launder(reinterpret_cast<MessageItem*>(mInline.data())) + index;
}

const MessageItem* MessageItems::inlineItem(size_t index) const {
    return std::launder(reinterpret_cast<const MessageItem*>(mInline.data())) + index;
}

const MessageItem& MessageItems::at(size_t index) const {
    return index < kInline ? *inlineItem(index) : mMore[index - kInline];
}

const MessageValue* MessageItems::find(std::string_view name) const {
    for (size_t i = 0; i < mInlineCount; ++i) {
        const MessageItem* item = inlineItem(i);
        if (item->name == name) return &item->value;
    }
    for (const MessageItem& item : mMore) {
        if (item.name == name) return &item.value;
    }
    return nullptr;
}

void MessageItems::set(std::string_view name, MessageValue value) {
    if (const MessageValue* present = find(name)) {
        // The old value goes last: its destructor may look at this message.
        std::swap(*const_cast<MessageValue*>(present), value);
    } else if (mInlineCount < kInline) {
        void* place = mInline.data() + mInlineCount * sizeof(MessageItem);
        new (place) MessageItem{std::string(name), std::move(value)};
        ++mInlineCount;
    } else {
        mMore.push_back({std::string(name), std::move(value)});
    }
}

void MessageItems::clear() {
    mMore.clear();
    while (mInlineCount > 0)
        std::destroy_at(inlineItem(--mInlineCount));
}

}  // namespace android::host
