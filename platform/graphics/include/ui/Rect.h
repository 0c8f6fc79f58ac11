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
    int32_t right = 0;
    int32_t bottom = 0;

    constexpr Rect() = default;
    constexpr Rect(int32_t width, int32_t height) : right(width), bottom(height) {}
    constexpr Rect(int32_t l, int32_t t, int32_t r, int32_t b)
        : left(l), top(t), right(r), bottom(b) {}

    // Wraps around when the corners are more than 2^31 - 1 apart.
    constexpr int32_t getWidth() const { return distance(left, right); }
    constexpr int32_t getHeight() const { return distance(top, bottom); }
    constexpr int32_t width() const { return getWidth(); }
    constexpr int32_t height() const { return getHeight(); }

    // Corners in order: neither width nor height is negative.
    constexpr bool isValid() const { return left <= right && top <= bottom; }
    // Without a single pixel.
    constexpr bool isEmpty() const { return left >= right || top >= bottom; }

    friend constexpr bool operator==(const Rect&, const Rect&) = default;

private:
    static constexpr int32_t distance(int32_t from, int32_t to) {
        return static_cast<int32_t>(static_cast<uint32_t>(to) - static_cast<uint32_t>(from));
    }
};

}  // namespace android
