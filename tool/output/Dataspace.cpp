// What a stream's colour tags mean to the platform.
#include "output/Dataspace.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <system/graphics.h>

#include <span>

#include "media/Colors.h"

namespace plexa {
namespace {

constexpr int kPalHeight = 576;

struct Meaning {
    int tag;
    int32_t value;
};

constexpr Meaning kTransfers[] = {
    {AVCOL_TRC_SMPTE2084, HAL_DATASPACE_TRANSFER_ST2084},
    {AVCOL_TRC_ARIB_STD_B67, HAL_DATASPACE_TRANSFER_HLG},
    {AVCOL_TRC_LINEAR, HAL_DATASPACE_TRANSFER_LINEAR},
    {AVCOL_TRC_IEC61966_2_1, HAL_DATASPACE_TRANSFER_SRGB},
    {AVCOL_TRC_GAMMA22, HAL_DATASPACE_TRANSFER_GAMMA2_2},
    {AVCOL_TRC_GAMMA28, HAL_DATASPACE_TRANSFER_GAMMA2_8},
};

constexpr Meaning kStandards[] = {
    {AVCOL_SPC_SMPTE170M, HAL_DATASPACE_STANDARD_BT601_525},
    {AVCOL_SPC_FCC, HAL_DATASPACE_STANDARD_BT601_525},
    {AVCOL_SPC_BT470BG, HAL_DATASPACE_STANDARD_BT601_625},
    {AVCOL_SPC_BT2020_NCL, HAL_DATASPACE_STANDARD_BT2020},
    {AVCOL_SPC_BT2020_CL, HAL_DATASPACE_STANDARD_BT2020_CONSTANT_LUMINANCE},
};

int32_t lookUp(std::span<const Meaning> meanings, int tag, int32_t otherwise) {
    for (const Meaning& meaning : meanings) {
        if (meaning.tag == tag) return meaning.value;
    }
    return otherwise;
}

// Both lines of BT.601 have one matrix; 625 with full range also says that chroma sits in the
// middle of its pixels.
int32_t bt601LineOf(const VideoFormat& format) {
    const bool isFull = format.range == AVCOL_RANGE_JPEG;
    const bool is625 =
        isFull ? format.chromaLocation == AVCHROMA_LOC_CENTER : format.height == kPalHeight;
    return is625 ? HAL_DATASPACE_STANDARD_BT601_625 : HAL_DATASPACE_STANDARD_BT601_525;
}

bool isBt601(int32_t standard) {
    return standard == HAL_DATASPACE_STANDARD_BT601_625 ||
           standard == HAL_DATASPACE_STANDARD_BT601_525;
}

int32_t chooseStandard(const VideoFormat& format, int32_t transfer) {
    const bool isWide = isHdr(transfer) || format.primaries == AVCOL_PRI_BT2020;
    if (format.matrix == AVCOL_SPC_UNSPECIFIED && isWide) return HAL_DATASPACE_STANDARD_BT2020;
    const int32_t standard = lookUp(kStandards, matrixOf(format), HAL_DATASPACE_STANDARD_BT709);
    return isBt601(standard) ? bt601LineOf(format) : standard;
}

}  // namespace

std::string colorWords(const VideoFormat& format) {
    const auto word = [](const char* name) { return std::string(name != nullptr ? name : "?"); };
    return "matrix " + word(av_color_space_name(format.matrix)) + ", range " +
           word(av_color_range_name(format.range)) + ", transfer " +
           word(av_color_transfer_name(format.transfer));
}

int32_t dataspaceOf(const VideoFormat& format) {
    const int32_t transfer = lookUp(kTransfers, format.transfer, HAL_DATASPACE_TRANSFER_SMPTE_170M);
    const int32_t range =
        format.range == AVCOL_RANGE_JPEG ? HAL_DATASPACE_RANGE_FULL : HAL_DATASPACE_RANGE_LIMITED;
    return chooseStandard(format, transfer) | transfer | range;
}

bool isHdr(int32_t dataspace) {
    const int32_t transfer = dataspace & HAL_DATASPACE_TRANSFER_MASK;
    return transfer == HAL_DATASPACE_TRANSFER_ST2084 || transfer == HAL_DATASPACE_TRANSFER_HLG;
}

int32_t legacyDataspace(int32_t dataspace) {
    if (isHdr(dataspace)) return dataspace;
    const bool isFull = (dataspace & HAL_DATASPACE_RANGE_MASK) == HAL_DATASPACE_RANGE_FULL;
    switch (dataspace & HAL_DATASPACE_STANDARD_MASK) {
        case HAL_DATASPACE_STANDARD_BT709:
            return isFull ? HAL_DATASPACE_SRGB : HAL_DATASPACE_BT709;
        case HAL_DATASPACE_STANDARD_BT601_625:
            return isFull ? HAL_DATASPACE_JFIF : HAL_DATASPACE_BT601_625;
        case HAL_DATASPACE_STANDARD_BT601_525:
            return isFull ? HAL_DATASPACE_JFIF : HAL_DATASPACE_BT601_525;
        default:
            return dataspace;
    }
}

}  // namespace plexa
