// ItemName: the name of a value in a message.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace android::host {

// Names of up to kMaxInline characters lie in place, longer ones on the heap.
// Threading: reentrant.
class ItemName {
public:
    static constexpr size_t kMaxInline = 27;

    explicit ItemName(std::string_view name) : mLength(static_cast<uint32_t>(name.size())) {
        if (name.size() <= kMaxInline) {
            *std::copy(name.begin(), name.end(), mText) = '\0';
        } else {
            mLong = std::make_unique<std::string>(name);
        }
    }
    ItemName(const ItemName& other) : ItemName(other.view()) {}
    ItemName(ItemName&&) noexcept = default;
    ItemName& operator=(const ItemName&) = delete;
    ItemName& operator=(ItemName&&) noexcept = default;
    ~ItemName() = default;

    const char* c_str() const { return mLong == nullptr ? mText : mLong->c_str(); }
    std::string_view view() const { return {c_str(), mLength}; }

    bool operator==(std::string_view other) const {
        return mLength == other.size() && memcmp(c_str(), other.data(), mLength) == 0;
    }

private:
    std::unique_ptr<std::string> mLong;
    uint32_t mLength;
    char mText[kMaxInline + 1];
};

}  // namespace android::host
