// ColorPlan: what a dataspace says about a source, in the terms of the colour library.
#pragma once

#include <zimg.h>

#include <cstdint>
#include <optional>

namespace android::capture {

// How the light that a signal stands for reaches the picture.
enum class Light : uint8_t {
    Sdr,  // relative: nominal white is the picture's white
    Pq,   // absolute: SMPTE ST 2084, tone mapped
    Hlg,  // BT.2100 HLG on its nominal display of 1000 cd/m2, tone mapped
};

// The colours of one source. Threading: reentrant.
struct ColorPlan {
    zimg_matrix_coefficients_e matrix = ZIMG_MATRIX_RGB;
    zimg_transfer_characteristics_e transfer = ZIMG_TRANSFER_IEC_61966_2_1;
    zimg_color_primaries_e primaries = ZIMG_PRIMARIES_BT709;
    zimg_pixel_range_e range = ZIMG_RANGE_FULL;
    zimg_chroma_location_e chroma = ZIMG_CHROMA_LEFT;

    Light light() const;
    // Holds colours that the picture cannot show.
    bool isWide() const { return primaries != ZIMG_PRIMARIES_BT709; }
    // Pixels need work in linear light that the colour library does not have.
    bool needsMapping() const { return isWide() || light() != Light::Sdr; }

    friend bool operator==(const ColorPlan&, const ColorPlan&) = default;
};

// What is known of a source beside its dataspace. Sizes are those of the visible picture.
struct SourceTraits {
    bool isYuv = false;
    int32_t width = 0;
    int32_t height = 0;
    bool hasHdrInfo = false;  // static or dynamic HDR metadata
};

// The plan for an android_dataspace_t. Parts that it leaves open are chosen by the traits:
//
//   standard   RGBA: BT.709. YCbCr with an HDR transfer or with HDR metadata: BT.2020. Else BT.709
//              from 1280 columns or 577 rows on, and BT.601 below
//   transfer   BT.2020 YCbCr with HDR metadata: PQ. Else that of SDR
//   range      RGBA: full. YCbCr: limited
//
// Empty, after an error in the log, for values that are unknown or that nothing here renders.
// Threading: reentrant.
std::optional<ColorPlan> planFor(int32_t dataspace, const SourceTraits& traits);

}  // namespace android::capture
