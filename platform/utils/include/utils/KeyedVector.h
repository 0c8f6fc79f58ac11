// KeyedVector<K, V>: a small map kept as a vector sorted by key.
#pragma once

#include <utils/Errors.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace android {

// One value a key, in ascending order of the keys; indices run from 0 to size() - 1. Capacity is
// kept when elements go. K needs `<`.
// Threading: reentrant.
template <typename K, typename V>
class KeyedVector {
public:
    size_t size() const { return mPairs.size(); }
    bool isEmpty() const { return mPairs.empty(); }
    size_t capacity() const { return mPairs.capacity(); }
    void setCapacity(size_t count) { mPairs.reserve(count); }
    void clear() { mPairs.clear(); }

    // The index of `key`, or NAME_NOT_FOUND.
    ssize_t indexOfKey(const K& key) const {
        const auto at = lowerBound(mPairs, key);
        if (at == mPairs.end() || key < at->first) return NAME_NOT_FOUND;
        return at - mPairs.begin();
    }

    // Only for a key that is in the vector.
    const V& valueFor(const K& key) const { return valueAt(static_cast<size_t>(indexOfKey(key))); }
    V& editValueFor(const K& key) { return editValueAt(static_cast<size_t>(indexOfKey(key))); }
    const K& keyAt(size_t index) const { return mPairs[index].first; }
    const V& valueAt(size_t index) const { return mPairs[index].second; }
    V& editValueAt(size_t index) { return mPairs[index].second; }

    // Adds the pair, or replaces the value of a key that is there; the index of the pair.
    ssize_t add(const K& key, V value) {
        auto at = lowerBound(mPairs, key);
        if (at != mPairs.end() && !(key < at->first)) {
            at->second = std::move(value);
        } else {
            at = mPairs.emplace(at, key, std::move(value));
        }
        return at - mPairs.begin();
    }

    // Replaces the value of a key that is there: its index, or NAME_NOT_FOUND.
    ssize_t replaceValueFor(const K& key, V value) {
        const ssize_t index = indexOfKey(key);
        if (index >= 0) editValueAt(static_cast<size_t>(index)) = std::move(value);
        return index;
    }

    // The index that the pair had, or NAME_NOT_FOUND.
    ssize_t removeItem(const K& key) {
        const ssize_t index = indexOfKey(key);
        return index < 0 ? index : removeItemsAt(static_cast<size_t>(index));
    }

    // Removes `count` pairs from `index` on: `index`, or BAD_VALUE when they are not all there.
    ssize_t removeItemsAt(size_t index, size_t count = 1) {
        if (index > size() || count > size() - index) return BAD_VALUE;
        const auto first = mPairs.begin() + static_cast<ptrdiff_t>(index);
        mPairs.erase(first, first + static_cast<ptrdiff_t>(count));
        return static_cast<ssize_t>(index);
    }

private:
    template <typename Pairs>
    static auto lowerBound(Pairs& pairs, const K& key) {
        return std::lower_bound(pairs.begin(), pairs.end(), key,
                                [](const auto& pair, const K& k) { return pair.first < k; });
    }

    std::vector<std::pair<K, V>> mPairs;
};

}  // namespace android
