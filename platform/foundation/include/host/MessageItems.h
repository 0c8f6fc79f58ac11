// MessageItems: the named values inside an AMessage.
#pragma once

#include <host/ItemName.h>
#include <utils/StrongPointer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace android {

class ABuffer;
class AMessage;
class RefBase;

namespace host {

struct RectValue {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

using MessageValue =
    std::variant<int32_t, int64_t, RectValue, sp<RefBase>, sp<ABuffer>, sp<AMessage>>;

struct MessageItem {
    explicit MessageItem(std::string_view itsName) : name(itsName) {}
    MessageItem(const ItemName& itsName, const MessageValue& itsValue)
        : name(itsName), value(itsValue) {}

    ItemName name;
    MessageValue value;
};

// Values in the order in which their names were first set. The first kInline live in place,
// further ones on the heap. A search is linear: records are short.
// Threading: reentrant.
class MessageItems {
public:
    // More than any record of the library has.
    static constexpr size_t kInline = 10;

    MessageItems() {}
    MessageItems(const MessageItems&) = delete;
    MessageItems& operator=(const MessageItems&) = delete;
    ~MessageItems() { clear(); }

    // Replaces the value of a name that is there.
    template <typename T>
    void set(std::string_view name, T value) {
        MessageValue& slot = slotFor(name);
        // The old value goes last: what it held may look at this message as it goes.
        const MessageValue old = std::exchange(slot, MessageValue(std::move(value)));
    }
    // Null when the name is not there.
    const MessageValue* find(std::string_view name) const;
    // For an item whose name is not there.
    void add(const ItemName& name, const MessageValue& value);
    void clear();

    size_t size() const { return mInlineCount + mMore.size(); }
    const MessageItem& operator[](size_t index) const {
        return index < kInline ? mInline[index] : mMore[index - kInline];
    }

private:
    MessageValue& slotFor(std::string_view name);
    template <typename... Args>
    MessageItem& append(Args&&... args);

    size_t mInlineCount = 0;
    union {
        // The first mInlineCount exist.
        std::array<MessageItem, kInline> mInline;
    };
    std::vector<MessageItem> mMore;
};

}  // namespace host
}  // namespace android
