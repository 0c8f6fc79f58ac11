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

// Names of up to kMaxInline characters lie in place, longer ones on the heap.
// Threading: reentrant.
class ItemName {
public:
    static constexpr size_t kMaxInline = 23;

    explicit ItemName(const ItemKey& key) : mLength(static_cast<uint32_t>(key.text().size())) {
        memcpy(mText.data(), key.head().data(), sizeof(ItemKey::Head));
        if (mLength > kMaxInline) {
            mLong = std::make_unique<std::string>(key.text());
        } else if (mLength > sizeof(ItemKey::Head)) {
            key.text().copy(mText.data(), mLength);
        }
    }
    ItemName(const ItemName& other)
        : mText(other.mText),
          mLength(other.mLength),
          mLong(other.mLong != nullptr ? std::make_unique<std::string>(*other.mLong) : nullptr) {}
    ItemName(ItemName&&) noexcept = default;
    ItemName& operator=(const ItemName&) = delete;
    ItemName& operator=(ItemName&&) noexcept = default;
    ~ItemName() = default;

    const char* c_str() const { return mLong != nullptr ? mLong->c_str() : mText.data(); }
    std::string_view view() const { return {c_str(), mLength}; }

    bool operator==(const ItemKey& key) const {
        if (memcmp(mText.data(), key.head().data(), sizeof(ItemKey::Head)) != 0) return false;
        if (mLength != key.text().size()) return false;
        return mLength <= sizeof(ItemKey::Head) || view() == key.text();
    }

private:
    std::array<char, kMaxInline + 1> mText{};  // of a long name its first bytes
    uint32_t mLength;
    std::unique_ptr<std::string> mLong;
};

}  // namespace android::host
