// MessageItems: the named values inside an AMessage.
#pragma once

#include <host/ItemName.h>
#include <utils/StrongPointer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
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
    template <typename T>
    MessageItem(const ItemKey& key, T&& itsValue) : name(key), value(std::forward<T>(itsValue)) {}
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

    // Replaces the value of a name that is there. The old value goes last: what it held may look at
    // this message as it goes. Not inline, so that its callers are, where names are constants.
    template <typename T>
    [[gnu::noinline]] void set(const ItemKey& key, T value) {
        MessageValue* present = find(key);
        if (present == nullptr) {
            append(key, std::move(value));
        } else if (T* sameType = std::get_if<T>(present)) {
            std::swap(*sameType, value);
        } else {
            MessageValue old(std::move(value));
            present->swap(old);
        }
    }
    // Null when the name is not there.
    const MessageValue* find(const ItemKey& key) const;
    MessageValue* find(const ItemKey& key) {
        return const_cast<MessageValue*>(std::as_const(*this).find(key));
    }
    // For an item whose name is not there.
    void add(const ItemName& name, const MessageValue& value);
    void clear();

    size_t size() const { return mInlineCount + mMore.size(); }
    const MessageItem& operator[](size_t index) const {
        return index < kInline ? mInline[index] : mMore[index - kInline];
    }

private:
    const MessageValue* findLong(const ItemKey& key) const;
    const MessageValue* findInMore(const ItemKey& key) const;
    template <typename Name, typename Value>
    void append(const Name& name, Value&& value) {
        if (mInlineCount == kInline) {
            mMore.emplace_back(name, std::forward<Value>(value));
            return;
        }
        new (&mInline[mInlineCount]) MessageItem(name, std::forward<Value>(value));
        ++mInlineCount;
    }

    size_t mInlineCount = 0;
    std::vector<MessageItem> mMore;
    union {
        // The first mInlineCount exist.
        std::array<MessageItem, kInline> mInline;
    };
};

}  // namespace host
}  // namespace android
