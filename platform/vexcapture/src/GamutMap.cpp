// The border tables and the mapping of a colour.
#include "GamutMap.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace android::capture {
namespace {

constexpr float kKnee = 0.9F;

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

// Linear BT.709 to linear BT.2020: ITU-R BT.2087.
constexpr Matrix kTo2020 = {{{0.6274, 0.3293, 0.0433},  //
                             {0.0691, 0.9195, 0.0114},
                             {0.0164, 0.0880, 0.8956}}};
// Linear BT.709 to linear Display P3: from the primaries of SMPTE EG 432-1 and D65.
constexpr Matrix kToP3 = {{{0.8225, 0.1775, 0.0000},  //
                           {0.0332, 0.9668, 0.0000},
                           {0.0171, 0.0724, 0.9105}}};
// Linear BT.709 to XYZ relative to D65: IEC 61966-2-1, each row divided by its sum.
constexpr Matrix kToRelativeXyz = {{{0.4339, 0.3762, 0.1899},  //
                                    {0.2126, 0.7152, 0.0722},
                                    {0.0177, 0.1095, 0.8728}}};

Vector multiply(const Matrix& matrix, const Vector& v) {
    Vector result = {};
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column)
            result[row] += matrix[row][column] * v[column];
    }
    return result;
}

// CIE 15: the cube root, and a line near black.
double labRoot(double t) {
    constexpr double kDelta = 6.0 / 29;
    return t > kDelta * kDelta * kDelta ? std::cbrt(t) : t / (3 * kDelta * kDelta) + 4.0 / 29;
}

// CIELAB hue in radians of linear BT.709 light relative to the picture's white. Near black hue
// depends on light; half of full scale keeps all levels that matter close.
double labHue(const Vector& rgb) {
    const Vector xyz = multiply(kToRelativeXyz, rgb);
    const auto f = [&xyz](size_t i) { return labRoot(xyz[i] / 2); };
    return std::atan2(200 * (f(1) - f(2)), 500 * (f(0) - f(1)));
}

// How much of the fall from 1 a component takes whose primary has the hue number `peak`.
template <typename Number>
Number fallOf(Number hue, Number peak) {
    const Number away = std::abs(hue - peak);
    return std::clamp(std::min(away, 6 - away) - 1, Number{0}, Number{1});
}

// Hue numbers run from 0 at red over yellow (1), green, cyan, blue and magenta to 6 at red again,
// and may go 1 beyond. The colour at a distance from neutral, with 1 as its greatest component.
template <typename Number>
std::array<Number, 3> colorAt(Number hue, Number distance) {
    return {1 - distance * fallOf<Number>(hue, 0), 1 - distance * fallOf<Number>(hue, 2),
            1 - distance * fallOf<Number>(hue, 4)};
}

double borderDistance(const Matrix& toWide, double hue) {
    // Components fall from 1 in proportion to distance; the border is where the first reaches 0.
    const Vector at1 = multiply(toWide, colorAt(hue, 1.0));
    return std::max(1 / (1 - *std::min_element(at1.begin(), at1.end())), 1.0);
}

// How far along BT.709's border from `hue` the hue of `color` is found: by halving, as CIELAB hue
// rises with the hue number.
double turnTo(const Vector& color, double hue) {
    const double wanted = labHue(color);
    double low = -1;
    double high = 1;
    for (int step = 0; step < 24; ++step) {
        const double middle = (low + high) / 2;
        const double ahead =
            std::remainder(labHue(colorAt(hue + middle, 1.0)) - wanted, 2 * std::numbers::pi);
        (ahead > 0 ? high : low) = middle;
    }
    return (low + high) / 2;
}

float hueOf(const Rgb& c, float least, float greatest) {
    const float range = greatest - least;
    if (c.r == greatest) return (c.g >= c.b ? 0.0F : 6.0F) + (c.g - c.b) / range;
    return c.g == greatest ? 2 + (c.b - c.r) / range : 4 + (c.r - c.g) / range;
}

}  // namespace

GamutMap::GamutMap(zimg_color_primaries_e wide) {
    const Matrix& toWide = wide == ZIMG_PRIMARIES_BT2020 ? kTo2020 : kToP3;
    for (size_t i = 0; i < kHues; ++i) {
        const double hue = 6.0 * static_cast<double>(i) / kHues;
        const double distance = borderDistance(toWide, hue);
        mBorders[i] = {.distance = static_cast<float>(distance),
                       .turn = static_cast<float>(turnTo(colorAt(hue, distance), hue))};
    }
    mBorders[kHues] = mBorders[0];
}

GamutMap::Border GamutMap::borderAt(float hue) const {
    const float place = hue / 6 * kHues;
    const size_t i = std::min(static_cast<size_t>(place), kHues - 1);
    const float share = place - static_cast<float>(i);
    return {.distance = std::lerp(mBorders[i].distance, mBorders[i + 1].distance, share),
            .turn = std::lerp(mBorders[i].turn, mBorders[i + 1].turn, share)};
}

Rgb GamutMap::operator()(const Rgb& color) const {
    const float greatest = std::max({color.r, color.g, color.b});
    const float least = std::min({color.r, color.g, color.b});
    if (greatest <= 0) return {};
    const float distance = (greatest - least) / greatest;
    if (!(distance > kKnee)) return color;

    const float hue = hueOf(color, least, greatest);
    const Border border = borderAt(hue);
    const float beyond = distance - kKnee;
    const float room = border.distance - kKnee;
    // A hyperbola with slope 1 at the knee, through 1 at the wide gamut's border.
    const float bend = (border.distance - 1) / ((1 - kKnee) * room);
    const float mapped = std::min(kKnee + beyond / (1 + beyond * bend), 1.0F);
    const float moved = std::min(distance, border.distance) - mapped;
    const float turned =
        border.distance > 1 ? hue + border.turn * moved / (border.distance - 1) : hue;
    const auto [r, g, b] = colorAt(turned, mapped);
    return {greatest * r, greatest * g, greatest * b};
}

}  // namespace android::capture
