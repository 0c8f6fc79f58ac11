// Rect: a rectangle of pixels, right and bottom exclusive.
#pragma once

#include <cstdint>

namespace android {

// A plain value. The corners are stored as given: isValid() tells whether they are in order.
// Threading: reentrant.
class Rect {
public:
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = -1;
    int32_t bottom = -1;

    // Not valid, and so none that a caller gave.
    constexpr Rect() = default;
    constexpr Rect(int32_t width, int32_t height) : right(width), bottom(height) {}
    constexpr Rect(int32_t l, int32_t t, int32_t r, int32_t b)
        : left(l), top(t), right(r), bottom(b) {}

    // These four, and what is below, overflow when corners are more than 2^31 - 1 apart.
    constexpr int32_t getWidth() const { return right - left; }
    constexpr int32_t getHeight() const { return bottom - top; }
    constexpr int32_t width() const { return getWidth(); }
    constexpr int32_t height() const { return getHeight(); }

    // Corners in order: neither width nor height is negative.
    constexpr bool isValid() const { return getWidth() >= 0 && getHeight() >= 0; }
    // Without a single pixel.
    constexpr bool isEmpty() const { return getWidth() <= 0 || getHeight() <= 0; }

    constexpr bool operator==(const Rect& other) const {
        return left == other.left && top == other.top && right == other.right &&
               bottom == other.bottom;
    }
    constexpr bool operator!=(const Rect& other) const { return !(*this == other); }
};

}  // namespace android
