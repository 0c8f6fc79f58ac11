// YuvFormula: what the GPU converter is to compute, in double precision.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace plexa {

// The constants of one colour variant.
struct YuvFormula {
    double lumaScale;
    double chromaScale;
    double redFromCr;
    double greenFromCb;
    double greenFromCr;
    double blueFromCb;

    // Samples from 0 to 1; the result from 0 to 255.
    std::array<double, 3> rgbOf(double y, double cb, double cr) const {
        const double luma = (y * 255.0 - 16.0) * lumaScale;
        const double u = (cb * 255.0 - 128.0) * chromaScale;
        const double v = (cr * 255.0 - 128.0) * chromaScale;
        const auto channel = [](double value) { return std::clamp(value, 0.0, 1.0) * 255.0; };
        return {channel(luma + redFromCr * v), channel(luma - greenFromCb * u - greenFromCr * v),
                channel(luma + blueFromCb * u)};
    }

    // The largest difference of a channel.
    double errorOf(const std::array<uint8_t, 4>& rgba, double y, double cb, double cr) const {
        const auto wanted = rgbOf(y, cb, cr);
        double largest = 0;
        for (size_t i = 0; i < 3; ++i)
            largest = std::max(largest, std::abs(rgba[i] - wanted[i]));
        return largest;
    }
};

inline constexpr YuvFormula kBt709Limited = {0.00456621, 0.00446428, 1.5748,
                                             0.187324,   0.468124,   1.8556};
inline constexpr YuvFormula kBt709Full = {0.00392156, 0.00392156, 1.5748,
                                          0.187324,   0.468124,   1.8556};
inline constexpr YuvFormula kBt601Limited = {0.00456621, 0.00446428, 1.402,
                                             0.344136,   0.714136,   1.772};
inline constexpr YuvFormula kBt601Full = {0.00392156, 0.00392156, 1.402, 0.344136, 0.714136, 1.772};

}  // namespace plexa
