// How FFmpeg's filters convert the colours of a stream.
#include "media/Colors.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

#include <cmath>

namespace plexa {
namespace {

// Players take untagged video of this height and more for BT.709, and smaller for BT.601.
constexpr int kHighDefinitionHeight = 720;

// As the scale filter names it.
std::string nameOf(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_BT709:
            return "bt709";
        case AVCOL_SPC_FCC:
            return "fcc";
        case AVCOL_SPC_SMPTE240M:
            return "smpte240m";
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return "bt2020";
        default:
            return "bt601";
    }
}

bool isChromaLeft(AVChromaLocation location) {
    return location == AVCHROMA_LOC_UNSPECIFIED || location == AVCHROMA_LOC_LEFT ||
           location == AVCHROMA_LOC_TOPLEFT;
}

bool isChromaTop(AVChromaLocation location) {
    return location == AVCHROMA_LOC_TOP || location == AVCHROMA_LOC_TOPLEFT;
}

}  // namespace

bool isRgb(AVPixelFormat pixels) {
    const uint64_t flags = av_pix_fmt_desc_get(pixels)->flags;
    return (flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0 ||
           pixels == AV_PIX_FMT_MONOBLACK || pixels == AV_PIX_FMT_MONOWHITE;
}

AVColorSpace matrixOf(const VideoFormat& format) {
    if (format.matrix != AVCOL_SPC_UNSPECIFIED && format.matrix != AVCOL_SPC_RGB) {
        return format.matrix;
    }
    return format.height >= kHighDefinitionHeight ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

std::string conversionOptions(const VideoFormat& format) {
    const std::string range = format.range == AVCOL_RANGE_JPEG ? "pc" : "tv";
    const std::string matrix = nameOf(matrixOf(format));
    std::string options = "flags=bicubic+accurate_rnd+full_chroma_int+full_chroma_inp";
    options += ":in_range=" + range + ":out_range=" + range;
    options += ":in_color_matrix=" + matrix + ":out_color_matrix=" + matrix;
    // Unasked, the filter takes chroma to sit in the middle of its pixels.
    if (isChromaLeft(format.chromaLocation)) options += ":in_h_chr_pos=0:out_h_chr_pos=0";
    if (isChromaTop(format.chromaLocation)) options += ":in_v_chr_pos=0:out_v_chr_pos=0";
    return options;
}

std::string uprightFilters(const int32_t* matrix) {
    constexpr int kFullTurn = 360;
    const double turned = av_display_rotation_get(matrix);
    if (std::isnan(turned)) return "";
    const long clockwise = (kFullTurn - std::lround(turned)) % kFullTurn;
    switch (clockwise) {
        case 90:
            return matrix[3] > 0 ? "transpose=cclock_flip" : "transpose=clock";
        case 270:
            return matrix[3] < 0 ? "transpose=clock_flip" : "transpose=cclock";
        case 180:
            return std::string(matrix[0] < 0 ? "hflip" : "null") + (matrix[4] < 0 ? ",vflip" : "");
        default:
            return matrix[4] < 0 ? "vflip" : "";
    }
}

}  // namespace plexa
