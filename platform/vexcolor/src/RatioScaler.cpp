// RatioScaler: sums of rows, and turns in between.
#include "RatioScaler.h"

#include <libyuv/rotate.h>
#include <libyuv/rotate_argb.h>

#include <algorithm>
#include <array>
#include <span>

namespace cl {
namespace {

constexpr uint32_t kBandRows = 64;

// Samples as they are stored, and as words of 16 bits with all of the value at the top.
struct EightBits {
    using Sample = uint8_t;
    static uint16_t widened(Sample sample) { return static_cast<uint16_t>(sample << 8); }
    static Sample rounded(uint16_t word) { return static_cast<uint16_t>(word + 0x80) >> 8; }
};
struct TenBits {
    using Sample = uint16_t;
    static uint16_t widened(Sample sample) { return sample & 0xFFC0; }
    static Sample rounded(uint16_t word) { return static_cast<uint16_t>(word + 0x20) & 0xFFC0; }
};
struct Words {
    using Sample = uint16_t;
    static uint16_t widened(Sample sample) { return sample; }
    static Sample rounded(uint16_t word) { return word; }
};

// The row at the top of some, each as many samples below the one before.
template <typename Format>
struct Rows {
    const typename Format::Sample* top;
    size_t stride;

    const typename Format::Sample* operator[](size_t row) const { return top + row * stride; }
};

// A target row from `rows` of the source, or from fewer: their products with the weights, cut off
// to words. What is cut off is half a unit each on average.
template <size_t rows, typename From, typename To>
void addFewRows(Rows<From> source, std::span<const uint16_t> weights,
                typename To::Sample* __restrict to, size_t samples) {
    const typename From::Sample* from[rows];
    uint16_t weight[rows];
    for (size_t row = 0; row < rows; ++row) {
        const bool isThere = row < weights.size();
        from[row] = source[isThere ? row : 0];
        weight[row] = isThere ? weights[row] : 0;
    }
    for (size_t i = 0; i < samples; ++i) {
        uint16_t sum = rows / 2;
        for (size_t row = 0; row < rows; ++row)
            sum += static_cast<uint16_t>(uint32_t{From::widened(from[row][i])} * weight[row] >> 16);
        to[i] = To::rounded(sum);
    }
}

// The same from any number of rows, which would add up what is cut off: whole products.
template <typename From, typename To>
void addManyRows(Rows<From> source, std::span<const uint16_t> weights, typename To::Sample* to,
                 size_t samples) {
    std::array<uint32_t, 256> sums;
    for (size_t begin = 0; begin < samples; begin += sums.size()) {
        const size_t count = std::min(samples - begin, sums.size());
        std::fill_n(sums.begin(), count, 1U << 15);
        for (size_t row = 0; row < weights.size(); ++row) {
            const typename From::Sample* from = source[row] + begin;
            for (size_t i = 0; i < count; ++i)
                sums[i] += uint32_t{From::widened(from[i])} * weights[row];
        }
        for (size_t i = 0; i < count; ++i)
            to[begin + i] = To::rounded(static_cast<uint16_t>(sums[i] >> 16));
    }
}

template <typename From, typename To>
void addRows(Rows<From> source, std::span<const uint16_t> weights, typename To::Sample* to,
             size_t samples) {
    if (weights.size() <= 2) return addFewRows<2, From, To>(source, weights, to, samples);
    if (weights.size() <= 4) return addFewRows<4, From, To>(source, weights, to, samples);
    if (weights.size() <= 6) return addFewRows<6, From, To>(source, weights, to, samples);
    addManyRows<From, To>(source, weights, to, samples);
}

uint8_t* bytesOf(std::vector<uint16_t>& samples) {
    return reinterpret_cast<uint8_t*>(samples.data());
}

// By a quarter of a circle.
bool turn(const Plane& from, const Plane& to, libyuv::RotationMode mode) {
    const auto fromStride = static_cast<int>(from.stride), toStride = static_cast<int>(to.stride);
    const auto width = static_cast<int>(from.width), height = static_cast<int>(from.height);
    switch (from.unitBytes) {
        case 1:
            return libyuv::RotatePlane(from.data, fromStride, to.data, toStride, width, height,
                                       mode) == 0;
        case 2:
            return libyuv::RotatePlane_16(reinterpret_cast<const uint16_t*>(from.data),
                                          fromStride / 2, reinterpret_cast<uint16_t*>(to.data),
                                          toStride / 2, width, height, mode) == 0;
        default:
            return libyuv::ARGBRotate(from.data, fromStride, to.data, toStride, width, height,
                                      mode) == 0;
    }
}

}  // namespace

RatioScaler::RatioScaler(FrameSize from, FrameSize to, PlaneKind kind)
    : mKind(kind),
      mAcross(from.width, to.width),
      mDown(from.height, to.height),
      mBand(size_t{from.width} * kind.samplesPerUnit * kBandRows),
      mTurnedBand(mBand.size()),
      mScaledBand(size_t{to.width} * kind.samplesPerUnit * kBandRows) {}

bool RatioScaler::scale(const Plane& from, const Plane& to) {
    for (uint32_t y = 0; y < to.height; y += kBandRows) {
        const uint32_t rows = std::min(kBandRows, to.height - y);
        const bool done = mKind.bytesPerSample == 1 ? scaleBand<EightBits>(from, to, y, rows)
                                                    : scaleBand<TenBits>(from, to, y, rows);
        if (!done) return false;
    }
    return true;
}

template <typename Format>
bool RatioScaler::scaleBand(const Plane& from, const Plane& to, uint32_t y, uint32_t rows) {
    using Sample = typename Format::Sample;
    const size_t width = size_t{from.width} * mKind.samplesPerUnit;
    for (uint32_t row = 0; row < rows; ++row) {
        const auto [first, weights] = mDown[y + row];
        const auto* top = reinterpret_cast<const Sample*>(from.row(static_cast<uint32_t>(first)));
        addRows<Format, Words>({top, from.stride / sizeof(Sample)}, weights, &mBand[row * width],
                               width);
    }
    const uint32_t wideUnit = mKind.samplesPerUnit * sizeof(uint16_t);
    const Plane band{bytesOf(mBand), from.width * wideUnit, from.width, rows, wideUnit};
    const Plane turned{bytesOf(mTurnedBand), rows * wideUnit, rows, from.width, wideUnit};
    if (!turn(band, turned, libyuv::kRotate90)) return false;

    const size_t height = size_t{rows} * mKind.samplesPerUnit;
    const Plane scaled{bytesOf(mScaledBand), rows * to.unitBytes, rows, to.width, to.unitBytes};
    for (uint32_t column = 0; column < to.width; ++column) {
        const auto [first, weights] = mAcross[column];
        addRows<Words, Format>({&mTurnedBand[first * height], height}, weights,
                               reinterpret_cast<Sample*>(scaled.row(column)), height);
    }
    const Plane target{to.row(y), to.stride, to.width, rows, to.unitBytes};
    return turn(scaled, target, libyuv::kRotate270);
}

}  // namespace cl
