// FFmpeg's pixel format conversion, set up for one pair of formats.
#include "media/PixelScaler.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <utility>

#include "media/AvMessages.h"

namespace plexa {
namespace {

constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;

// Players take untagged video of this height and more for BT.709, and smaller for BT.601.
constexpr int kHighDefinitionHeight = 720;

// Where the chroma samples are, in 1/256 of a luma sample from the upper left luma sample.
std::pair<int, int> chromaPosition(AVChromaLocation location) {
    switch (location) {
        case AVCHROMA_LOC_CENTER:
            return {128, 128};
        case AVCHROMA_LOC_TOPLEFT:
            return {0, 0};
        case AVCHROMA_LOC_TOP:
            return {128, 0};
        case AVCHROMA_LOC_BOTTOMLEFT:
            return {0, 256};
        case AVCHROMA_LOC_BOTTOM:
            return {128, 256};
        default:
            return {0, 128};
    }
}

void setChromaPosition(SwsContext* scaler, const char* side, AVPixelFormat pixels,
                       AVChromaLocation location) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(pixels);
    const auto [horizontal, vertical] = chromaPosition(location);
    const std::string prefix(side);
    if (format->log2_chroma_w > 0) {
        av_opt_set_int(scaler, (prefix + "_h_chr_pos").c_str(), horizontal, 0);
    }
    if (format->log2_chroma_h > 0) {
        av_opt_set_int(scaler, (prefix + "_v_chr_pos").c_str(), vertical, 0);
    }
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

Status PixelScaler::configure(AVPixelFormat source, AVPixelFormat destination) {
    if (source == mSource && destination == mDestination) return {};
    mScaler.reset(sws_alloc_context());
    SwsContext* scaler = mScaler.get();
    for (const auto& [side, pixels] : {std::pair{"src", source}, {"dst", destination}}) {
        av_opt_set_int(scaler, side[0] == 's' ? "srcw" : "dstw", mFormat.width, 0);
        av_opt_set_int(scaler, side[0] == 's' ? "srch" : "dsth", mFormat.height, 0);
        av_opt_set_int(scaler, side[0] == 's' ? "src_format" : "dst_format", pixels, 0);
        setChromaPosition(scaler, side, pixels, mFormat.chromaLocation);
    }
    av_opt_set_int(scaler, "sws_flags", kFlags, 0);
    int result = sws_init_context(scaler, nullptr, nullptr);
    if (result < 0) return Status::error(avErrorWithLog(result));
    const int* matrix = sws_getCoefficients(matrixOf(mFormat));
    const bool isFullRange = mFormat.range == AVCOL_RANGE_JPEG;
    constexpr int kNeutral = 1 << 16;  // contrast and saturation
    // Between two RGB formats there is no matrix to set, which is no error.
    sws_setColorspaceDetails(scaler, matrix, isFullRange || isRgb(source) ? 1 : 0, matrix,
                             isFullRange || isRgb(destination) ? 1 : 0, 0, kNeutral, kNeutral);
    mSource = source;
    mDestination = destination;
    return {};
}

Status PixelScaler::convert(const AVFrame& source, AVFrame* destination) {
    Status status = configure(static_cast<AVPixelFormat>(source.format),
                              static_cast<AVPixelFormat>(destination->format));
    if (!status.isOk()) return status;
    int result = sws_scale(mScaler.get(), source.data, source.linesize, 0, source.height,
                           destination->data, destination->linesize);
    return result < 0 ? Status::error(avErrorWithLog(result)) : Status();
}

FramePtr allocateFrame(AVPixelFormat pixels, int width, int height) {
    FramePtr frame(av_frame_alloc());
    if (frame == nullptr) return nullptr;
    frame->format = pixels;
    frame->width = width;
    frame->height = height;
    return av_frame_get_buffer(frame.get(), 0) == 0 ? std::move(frame) : nullptr;
}

}  // namespace plexa
