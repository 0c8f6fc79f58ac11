// ItemName and ItemKey: the name of a value in a message, as it is kept and as it is looked up.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace android::host {

// A name and its first bytes as two numbers, padded with zeros. Names are literals: where a call is
// compiled the numbers are constants, and most names are told apart with one comparison.
// Borrows the text. Threading: immutable.
class ItemKey {
public:
    using Head = std::array<uint64_t, 2>;

    // Implicit, so that whoever takes a key can be given a name.
    [[gnu::always_inline]] ItemKey(const char* name) : ItemKey(std::string_view(name)) {}
    [[gnu::always_inline]] ItemKey(std::string_view name) : mText(name) {
        memcpy(mHead.data(), name.data(), std::min(name.size(), sizeof(Head)));
    }

    std::string_view text() const { return mText; }
    const Head& head() const { return mHead; }

private:
    Head mHead{};
    std::string_view mText;
};

// A name as a value keeps it: its head in place, the whole of a longer one on the heap.
// Threading: reentrant.
class ItemName {
public:
    static constexpr size_t kMaxInline = sizeof(ItemKey::Head);

    explicit ItemName(const ItemKey& key) : mHead(key.head()) {
        if (key.text().size() > kMaxInline) mWhole = std::make_unique<std::string>(key.text());
    }
    ItemName(const ItemName& other)
        : mHead(other.mHead),
          mWhole(other.mWhole != nullptr ? std::make_unique<std::string>(*other.mWhole) : nullptr) {
    }
    ItemName(ItemName&&) noexcept = default;
    ItemName& operator=(const ItemName&) = delete;
    ItemName& operator=(ItemName&&) noexcept = default;
    ~ItemName() = default;

    std::string_view view() const {
        if (mWhole != nullptr) return *mWhole;
        const auto* text = reinterpret_cast<const char*>(mHead.data());
        return {text, strnlen(text, kMaxInline)};
    }

    bool operator==(const ItemKey& key) const {
        if (mHead != key.head()) return false;
        return mWhole == nullptr ? key.text().size() <= kMaxInline : *mWhole == key.text();
    }

private:
    ItemKey::Head mHead;
    std::unique_ptr<std::string> mWhole;
};

}  // namespace android::host
