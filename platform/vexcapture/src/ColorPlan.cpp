// Reading dataspaces.
#define LOG_TAG "ZelFrameCaptureLayer"

#include "ColorPlan.h"

#include <system/graphics.h>
#include <utils/Log.h>

namespace android::capture {
namespace {

struct Parts {
    int32_t standard;
    int32_t transfer;
    int32_t range;
};

constexpr int32_t kPartsMask =
    HAL_DATASPACE_STANDARD_MASK | HAL_DATASPACE_TRANSFER_MASK | HAL_DATASPACE_RANGE_MASK;

constexpr Parts partsOf(int32_t dataspace) {
    return {.standard = dataspace & HAL_DATASPACE_STANDARD_MASK,
            .transfer = dataspace & HAL_DATASPACE_TRANSFER_MASK,
            .range = dataspace & HAL_DATASPACE_RANGE_MASK};
}

// The parts that a legacy value stands for; the value itself if it is none.
int32_t withoutLegacy(int32_t dataspace) {
    switch (dataspace) {
        case HAL_DATASPACE_JFIF:
            return HAL_DATASPACE_V0_JFIF;
        case HAL_DATASPACE_BT601_625:
            return HAL_DATASPACE_V0_BT601_625;
        case HAL_DATASPACE_BT601_525:
            return HAL_DATASPACE_V0_BT601_525;
        case HAL_DATASPACE_BT709:
            return HAL_DATASPACE_V0_BT709;
        case HAL_DATASPACE_SRGB_LINEAR:
            return HAL_DATASPACE_STANDARD_BT709 | HAL_DATASPACE_TRANSFER_LINEAR |
                   HAL_DATASPACE_RANGE_FULL;
        case HAL_DATASPACE_SRGB:
            return HAL_DATASPACE_V0_SRGB;
        default:
            return dataspace;
    }
}

bool isHdrTransfer(int32_t transfer) {
    return transfer == HAL_DATASPACE_TRANSFER_ST2084 || transfer == HAL_DATASPACE_TRANSFER_HLG;
}

int32_t defaultStandard(const Parts& parts, const SourceTraits& traits) {
    if (!traits.isYuv) return HAL_DATASPACE_STANDARD_BT709;
    const bool isOpen = parts.transfer == HAL_DATASPACE_TRANSFER_UNSPECIFIED;
    if (isHdrTransfer(parts.transfer) || (isOpen && traits.hasHdrInfo)) {
        return HAL_DATASPACE_STANDARD_BT2020;
    }
    const bool isHd = traits.width >= 1280 || traits.height > 576;
    return isHd ? HAL_DATASPACE_STANDARD_BT709 : HAL_DATASPACE_STANDARD_BT601_625;
}

void fillOpenParts(Parts& parts, const SourceTraits& traits) {
    if (parts.standard == HAL_DATASPACE_STANDARD_UNSPECIFIED) {
        parts.standard = defaultStandard(parts, traits);
    }
    if (parts.transfer == HAL_DATASPACE_TRANSFER_UNSPECIFIED) {
        const bool isHdr =
            traits.isYuv && traits.hasHdrInfo && parts.standard == HAL_DATASPACE_STANDARD_BT2020;
        parts.transfer = isHdr ? HAL_DATASPACE_TRANSFER_ST2084 : HAL_DATASPACE_TRANSFER_SRGB;
    }
    if (parts.range == HAL_DATASPACE_RANGE_UNSPECIFIED) {
        parts.range = traits.isYuv ? HAL_DATASPACE_RANGE_LIMITED : HAL_DATASPACE_RANGE_FULL;
    }
}

// The primaries of BT.601 differ from those of BT.709 by less than displays do: like every player,
// the picture takes them as they are.
bool setStandard(int32_t standard, ColorPlan& plan) {
    switch (standard) {
        case HAL_DATASPACE_STANDARD_BT709:
            plan.matrix = ZIMG_MATRIX_BT709;
            return true;
        case HAL_DATASPACE_STANDARD_BT601_625:
        case HAL_DATASPACE_STANDARD_BT601_525:
            plan.matrix = ZIMG_MATRIX_ST170_M;
            return true;
        case HAL_DATASPACE_STANDARD_BT2020:
            plan.matrix = ZIMG_MATRIX_BT2020_NCL;
            plan.primaries = ZIMG_PRIMARIES_BT2020;
            return true;
        case HAL_DATASPACE_STANDARD_DCI_P3:
            plan.matrix = ZIMG_MATRIX_CHROMATICITY_DERIVED_NCL;
            plan.primaries = ZIMG_PRIMARIES_ST432_1;
            return true;
        default:
            return false;
    }
}

// A display shows the camera curve of SDR video and the curve of sRGB alike (BT.1886 undoes the
// former on a video monitor), so that codes pass as they are from one to the other.
bool setTransfer(int32_t transfer, ColorPlan& plan) {
    switch (transfer) {
        case HAL_DATASPACE_TRANSFER_SRGB:
        case HAL_DATASPACE_TRANSFER_SMPTE_170M:
            plan.transfer = ZIMG_TRANSFER_IEC_61966_2_1;
            return true;
        case HAL_DATASPACE_TRANSFER_LINEAR:
            plan.transfer = ZIMG_TRANSFER_LINEAR;
            return true;
        case HAL_DATASPACE_TRANSFER_GAMMA2_2:
            plan.transfer = ZIMG_TRANSFER_BT470_M;
            return true;
        case HAL_DATASPACE_TRANSFER_GAMMA2_8:
            plan.transfer = ZIMG_TRANSFER_BT470_BG;
            return true;
        case HAL_DATASPACE_TRANSFER_ST2084:
            plan.transfer = ZIMG_TRANSFER_ST2084;
            return true;
        case HAL_DATASPACE_TRANSFER_HLG:
            plan.transfer = ZIMG_TRANSFER_ARIB_B67;
            return true;
        default:
            return false;
    }
}

bool setRange(int32_t range, ColorPlan& plan) {
    plan.range = range == HAL_DATASPACE_RANGE_FULL ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
    return range == HAL_DATASPACE_RANGE_FULL || range == HAL_DATASPACE_RANGE_LIMITED;
}

bool isRefused(bool known, int32_t dataspace, const char* part, int32_t value) {
    if (known) return false;
    ALOGE("dataspace %#x: %s %d is not supported", static_cast<unsigned>(dataspace), part, value);
    return true;
}

}  // namespace

Light ColorPlan::light() const {
    if (transfer == ZIMG_TRANSFER_ST2084) return Light::Pq;
    return transfer == ZIMG_TRANSFER_ARIB_B67 ? Light::Hlg : Light::Sdr;
}

std::optional<ColorPlan> planFor(int32_t dataspace, const SourceTraits& traits) {
    const int32_t value = withoutLegacy(dataspace);
    if (isRefused((value & ~kPartsMask) == 0, dataspace, "legacy value", value & ~kPartsMask)) {
        return std::nullopt;
    }
    Parts parts = partsOf(value);
    fillOpenParts(parts, traits);
    ColorPlan plan;
    if (isRefused(setStandard(parts.standard, plan), dataspace, "standard",
                  parts.standard >> HAL_DATASPACE_STANDARD_SHIFT) ||
        isRefused(setTransfer(parts.transfer, plan), dataspace, "transfer",
                  parts.transfer >> HAL_DATASPACE_TRANSFER_SHIFT) ||
        isRefused(setRange(parts.range, plan), dataspace, "range",
                  parts.range >> HAL_DATASPACE_RANGE_SHIFT)) {
        return std::nullopt;
    }
    if (!traits.isYuv) plan.matrix = ZIMG_MATRIX_RGB;
    // JPEG puts chroma in the middle of its four luma samples, video at the left pair.
    const bool isJpeg = value == HAL_DATASPACE_V0_JFIF;
    plan.chroma = isJpeg ? ZIMG_CHROMA_CENTER : ZIMG_CHROMA_LEFT;
    return plan;
}

}  // namespace android::capture
