// MessageItems: the named values inside an AMessage.
#pragma once

#include <utils/StrongPointer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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
    std::variant<int32_t, int64_t, sp<RefBase>, sp<ABuffer>, sp<AMessage>, RectValue>;

struct MessageItem {
    std::string name;
    MessageValue value;
};

// Values in the order in which their names were first set. The first kInline live in place,
// further ones on the heap. A search is linear: records are short.
// Threading: reentrant.
class MessageItems {
public:
    static constexpr size_t kInline = 10;

    MessageItems() = default;
    MessageItems(const MessageItems&) = delete;
    MessageItems& operator=(const MessageItems&) = delete;
    ~MessageItems();

    void set(std::string_view name, MessageValue value);
    // Null when the name is not there.
    const MessageValue* find(std::string_view name) const;
    void clear();

    size_t size() const { return mInlineCount + mMore.size(); }
    const MessageItem& at(size_t index) const;

private:
    MessageItem* inlineItem(size_t index);
    const MessageItem* inlineItem(size_t index) const;

    size_t mInlineCount = 0;
    alignas(MessageItem) std::array<std::byte, kInline * sizeof(MessageItem)> mInline;
    std::vector<MessageItem> mMore;
};

}  // namespace host
}  // namespace android
