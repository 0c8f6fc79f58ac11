// A borrowed view of one 4:2:0 frame with interleaved chroma.
#pragma once

#include <cstdint>

namespace plexa {

/**
 * NV12 (bitDepth 8) or P010 (bitDepth 10: samples of 16 bits, the upper ten used) in memory that
 * somebody else owns. The chroma plane holds (width + 1) / 2 pairs in each of (height + 1) / 2
 * rows.
 */
template <typename Byte>
struct SemiPlanarView {
    Byte* luma = nullptr;
    Byte* chroma = nullptr;
    int lumaStride = 0;    // bytes
    int chromaStride = 0;  // bytes
    int width = 0;         // pixels
    int height = 0;        // pixels
    int bitDepth = 8;

    int chromaWidth() const { return (width + 1) / 2; }
    int chromaHeight() const { return (height + 1) / 2; }
};

using SemiPlanarPicture = SemiPlanarView<const uint8_t>;
using WritableSemiPlanarPicture = SemiPlanarView<uint8_t>;

}  // namespace plexa
