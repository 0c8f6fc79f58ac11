// Colour formulas in double precision, written from their standards, to judge pictures by.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace plexa {

using Triple = std::array<double, 3>;  // R, G and B, or Y', Cb and Cr, or X, Y and Z

// Weights of R and B in luma.
struct LumaWeights {
    double red;
    double blue;
};
inline constexpr LumaWeights kBt601 = {0.299, 0.114};
inline constexpr LumaWeights kBt709 = {0.2126, 0.0722};
inline constexpr LumaWeights kBt2020 = {0.2627, 0.0593};

// Between R'G'B' and Y'CbCr: Y' 0 to 1, Cb and Cr -0.5 to 0.5.
inline Triple toYcc(const Triple& rgb, const LumaWeights& k) {
    const double y = k.red * rgb[0] + (1 - k.red - k.blue) * rgb[1] + k.blue * rgb[2];
    return {y, (rgb[2] - y) / (2 - 2 * k.blue), (rgb[0] - y) / (2 - 2 * k.red)};
}
inline Triple toRgb(const Triple& ycc, const LumaWeights& k) {
    const double r = ycc[0] + ycc[2] * (2 - 2 * k.red);
    const double b = ycc[0] + ycc[1] * (2 - 2 * k.blue);
    return {r, (ycc[0] - k.red * r - k.blue * b) / (1 - k.red - k.blue), b};
}

// Integer codes of Y'CbCr in 8 or 10 bits.
struct Quantizer {
    bool isFull = false;
    int bits = 8;

    double scale() const { return 1 << (bits - 8); }
    double lumaRange() const { return isFull ? (1 << bits) - 1 : 219 * scale(); }
    double chromaRange() const { return isFull ? (1 << bits) - 1 : 224 * scale(); }
    double black() const { return isFull ? 0 : 16 * scale(); }
    double neutral() const { return 128 * scale(); }

    Triple toCodes(const Triple& ycc) const {
        const double most = (1 << bits) - 1;
        return {std::clamp(std::round(black() + ycc[0] * lumaRange()), 0.0, most),
                std::clamp(std::round(neutral() + ycc[1] * chromaRange()), 0.0, most),
                std::clamp(std::round(neutral() + ycc[2] * chromaRange()), 0.0, most)};
    }
    Triple fromCodes(const Triple& codes) const {
        return {(codes[0] - black()) / lumaRange(), (codes[1] - neutral()) / chromaRange(),
                (codes[2] - neutral()) / chromaRange()};
    }
};

// SMPTE ST 2084.
inline double toPq(double nits) {
    const double p = std::pow(nits / 10000, 2610.0 / 16384);
    return std::pow((3424.0 / 4096 + 2413.0 / 128 * p) / (1 + 2392.0 / 128 * p), 2523.0 / 32);
}

// ITU-R BT.2100 HLG signal of light on its nominal display of 1000 cd/m2, through the inverse of
// the OOTF.
inline Triple toHlg(const Triple& nits) {
    const double display = (0.2627 * nits[0] + 0.6780 * nits[1] + 0.0593 * nits[2]) / 1000;
    const double gain = display > 0 ? std::pow(display, (1 - 1.2) / 1.2) / 1000 : 0;
    Triple signal = {};
    for (size_t i = 0; i < 3; ++i) {
        const double scene = nits[i] * gain;
        signal[i] = scene <= 1.0 / 12 ? std::sqrt(3 * scene)
                                      : 0.17883277 * std::log(12 * scene - 0.28466892) + 0.55991073;
    }
    return signal;
}

// IEC 61966-2-1.
inline double fromSrgb(double code) {
    return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}
inline double toSrgb(double light) {
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

// Linear light to XYZ, and the XYZ of white (D65).
using Matrix = std::array<Triple, 3>;
inline constexpr Matrix kXyzOf709 = {{{0.412391, 0.357584, 0.180481},  //
                                      {0.212639, 0.715169, 0.072192},
                                      {0.019331, 0.119195, 0.950532}}};
inline constexpr Matrix kXyzOf2020 = {{{0.636958, 0.144617, 0.168881},  //
                                       {0.262700, 0.677998, 0.059302},
                                       {0.000000, 0.028073, 1.060985}}};
inline constexpr Triple kWhiteXyz = {0.950456, 1.0, 1.089058};

inline Triple multiply(const Matrix& m, const Triple& v) {
    Triple result = {};
    for (size_t i = 0; i < 3; ++i)
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    return result;
}

// CIELAB hue angle, degrees.
inline double labHue(const Triple& xyz) {
    Triple f = {};
    for (size_t i = 0; i < 3; ++i) {
        const double t = xyz[i] / kWhiteXyz[i];
        f[i] = t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
    }
    return std::atan2(200 * (f[1] - f[2]), 500 * (f[0] - f[1])) * 180 / std::numbers::pi;
}

}  // namespace plexa
