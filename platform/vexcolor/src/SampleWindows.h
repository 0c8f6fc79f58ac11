// SampleWindows: which samples along one axis make those of another, and how much each counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace cl {

// The scaler's filter. A source sample at a distance of q * reach from a target sample's centre
// weighs, for q below 1 and before the weights are made to add up,
//
//   growing:    1 - q             reach: one source sample; the interpolation between two
//   shrinking:  1 - 3q² + 2q³     reach: 3/4 of a target sample, at least one source sample
//
// To exactly the half that is the mean of two. The curve keeps as much contrast where centres fall
// on samples as where they fall between them, so 160 samples of 320 look like 162 of them: with the
// exact mean over a target sample's area, the finest lines would lose a fifth of it from one size
// to the next.
class SampleWindows {
public:
    // In units of 1/65536. The weights add up to 1, so that a constant stays one; to one unit less
    // if there is but one.
    struct Window {
        size_t first;  // sample of the source
        std::span<const uint16_t> weights;
    };

    // Both at least 1.
    SampleWindows(uint32_t from, uint32_t to);

    Window operator[](size_t target) const {
        const auto& [first, begin] = mPlaces[target];
        return {first, std::span(mWeights).subspan(begin, mPlaces[target + 1].begin - begin)};
    }

private:
    struct Place {
        size_t first;
        size_t begin;  // in mWeights
    };

    std::vector<Place> mPlaces;  // one more than there are windows
    std::vector<uint16_t> mWeights;
};

}  // namespace cl
