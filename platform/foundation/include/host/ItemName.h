// ItemName and ItemKey: the name of a value in a message, as it is kept and as it is looked up.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace android::host {

// A name and its first 16 bytes as two numbers, padded with zeros. Names are literals: where a call
// is compiled the numbers are constants, and most names are told apart with one comparison. They
// are put together from single bytes because gcc does not fold a copy of a part of a number.
// Borrows the text. Threading: immutable.
class ItemKey {
public:
    using Head = std::array<uint64_t, 2>;

    // Implicit, so that whoever takes a key can be given a name.
    [[gnu::always_inline]] ItemKey(const char* name) : ItemKey(std::string_view(name)) {}
    [[gnu::always_inline]] ItemKey(std::string_view name)
        : mHead{wordAt(name, 0), wordAt(name, sizeof(uint64_t))}, mText(name) {}

    std::string_view text() const { return mText; }
    const Head& head() const { return mHead; }

private:
    // So that a head can be read as text.
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

    [[gnu::always_inline]] static uint64_t wordAt(std::string_view text, size_t i) {
        return byteAt(text, i, 0) | byteAt(text, i, 1) | byteAt(text, i, 2) | byteAt(text, i, 3) |
               byteAt(text, i, 4) | byteAt(text, i, 5) | byteAt(text, i, 6) | byteAt(text, i, 7);
    }
    [[gnu::always_inline]] static uint64_t byteAt(std::string_view text, size_t i, size_t byte) {
        constexpr int kBits = 8;
        if (i + byte >= text.size()) return 0;
        return uint64_t{static_cast<uint8_t>(text[i + byte])} << (kBits * byte);
    }

    Head mHead;
    std::string_view mText;
};

// A name as a value keeps it: its head in place, the whole of a longer one on the heap.
// Threading: reentrant.
class ItemName {
public:
    // With the zero that ends it as text.
    static constexpr size_t kMaxInline = sizeof(ItemKey::Head) - 1;

    explicit ItemName(const ItemKey& key) : mHead(key.head()) {
        if (key.text().size() > kMaxInline) [[unlikely]]
            keepWhole(key.text());
    }
    ItemName(const ItemName& other) : mHead(other.mHead) {
        if (other.mWhole != nullptr) [[unlikely]]
            keepWhole(*other.mWhole);
    }
    ItemName(ItemName&&) noexcept = default;
    ItemName& operator=(const ItemName&) = delete;
    ItemName& operator=(ItemName&&) noexcept = default;
    ~ItemName() = default;

    std::string_view view() const { return {text(), std::strlen(text())}; }
    const char* text() const {
        return mWhole != nullptr ? mWhole->c_str() : reinterpret_cast<const char*>(mHead.data());
    }

    // For a key of up to kMaxInline characters.
    bool isShort(const ItemKey& key) const { return mHead == key.head() && mWhole == nullptr; }
    // For a longer one.
    bool isLong(const ItemKey& key) const { return mWhole != nullptr && *mWhole == key.text(); }

private:
    [[gnu::noinline]] void keepWhole(std::string_view text) {
        mWhole = std::make_unique<std::string>(text);
    }

    ItemKey::Head mHead;
    std::unique_ptr<std::string> mWhole;
};

}  // namespace android::host
