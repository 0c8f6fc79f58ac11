// Paints frames of a person before a busy background, and where the person is.
#include "PaintedClip.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace android {

namespace {

// What Picture's planes hold at one place.
struct Colour {
    double y, cb, cr;
};

constexpr Colour kSkin{170, 110, 152};
constexpr Colour kHair{60, 122, 136};
constexpr Colour kShirt{95, 160, 108};
constexpr Colour kDark{40, 128, 128};

// Places are in heights of the picture, (0, 0) in its middle.
struct Place {
    double x, y;
};

struct Ellipse {
    double x, y, halfWidth, halfHeight;

    // Below 1 inside, above 1 outside.
    double distance(const Place& at) const {
        return std::hypot((at.x - x) / halfWidth, (at.y - y) / halfHeight);
    }
    bool contains(const Place& at) const { return distance(at) < 1; }
};

constexpr Ellipse kHead{0, -0.1, 0.17, 0.23};
constexpr Ellipse kHairline{0, -0.16, 0.19, 0.22};
constexpr Ellipse kShoulders{0, 0.55, 0.38, 0.4};
constexpr Ellipse kEyes{0.065, -0.1, 0.022, 0.028};
constexpr Ellipse kMouth{0, 0.02, 0.06, 0.014};

double personX(double phase) {
    return 0.35 * std::sin(2 * std::numbers::pi * phase);
}

// The person as a whole: below 1 inside.
double personDistance(const Place& at) {
    return std::min({kHead.distance(at), kHairline.distance(at), kShoulders.distance(at)});
}

Colour personAt(const Place& at) {
    if (kEyes.contains({std::abs(at.x), at.y}) || kMouth.contains(at)) return kDark;
    if (kHead.contains(at) && at.y > kHead.y - 0.09) return kSkin;
    if (kHairline.contains(at)) return kHair;
    if (kHead.contains(at)) return kSkin;
    return kShirt;
}

// A wall of tiles with fine joints that moves by, so that a blur shows.
Colour wallAt(const Place& at, double phase) {
    constexpr double kTile = 0.16;
    const double x = at.x / kTile + 2 * phase;
    const double y = at.y / kTile;
    const double column = std::floor(x), row = std::floor(y);
    if (x - column < 0.1 || y - row < 0.1) return {225, 128, 128};
    const double hue = 2.4 * column + 1.3 * row;
    const double grain = 14 * std::sin(40 * x) * std::sin(40 * y);
    return {110 + grain, 128 + 50 * std::sin(hue), 128 + 50 * std::cos(hue)};
}

Place placeOf(int column, int row, const Picture& picture) {
    const double height = picture.height;
    return {(column - picture.width / 2.0) / height, row / height - 0.5};
}

uint8_t asByte(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

}  // namespace

void PaintedClip::paintFrame(double phase, const Picture& frame) {
    for (int row = 0; row < frame.height; ++row) {
        for (int column = 0; column < frame.width; ++column) {
            const Place wall = placeOf(column, row, frame);
            const Place person{wall.x - personX(phase), wall.y};
            const Colour colour =
                personDistance(person) < 1 ? personAt(person) : wallAt(wall, phase);
            frame.y[row * frame.stride + column] = asByte(colour.y);
            const int chroma = row / 2 * frame.chromaStride + column / 2;
            frame.cb[chroma] = asByte(colour.cb);
            frame.cr[chroma] = asByte(colour.cr);
        }
    }
}

void PaintedClip::paintMask(double phase, const Picture& mask) {
    constexpr double kSoftness = 0.08;  // of the way from the edge to the middle
    for (int row = 0; row < mask.height; ++row) {
        for (int column = 0; column < mask.width; ++column) {
            const Place at = placeOf(column, row, mask);
            const double inside = 1 - personDistance({at.x - personX(phase), at.y});
            mask.y[row * mask.stride + column] = asByte(255 * inside / kSoftness);
        }
    }
}

}  // namespace android
