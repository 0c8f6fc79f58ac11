// Encodes frames with one of libavcodec's encoders.
#include "output/VideoEncoder.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/opt.h>
}

#include <cmath>

#include "base/Text.h"
#include "media/AvMessages.h"
#include "media/PlanarFrame.h"

namespace plexa {
namespace {

struct EncoderChoice {
    const char* name;
    AVCodecID codec;  // whose default encoder stands in for a missing one of that name
    const char* preset;
    const char* quality;  // constant rate factor
};

// The quality is hard to tell from the input; the presets keep up with the pipe on a few cores.
constexpr EncoderChoice kH264 = {"libx264", AV_CODEC_ID_H264, "medium", "18"};
constexpr EncoderChoice kHevc = {"libx265", AV_CODEC_ID_HEVC, "fast", "20"};

// Counted in steps of 1 / `steps`, as HEVC does.
long long inSteps(AVRational value, int steps) {
    return std::llround(av_q2d(value) * steps);
}

std::string masteringOption(const AVMasteringDisplayMetadata& display) {
    constexpr int kColorSteps = 50000;
    constexpr int kLightSteps = 10000;
    constexpr int kGreenBlueRed[] = {1, 2, 0};
    constexpr const char* kNames[] = {"G", "B", "R"};
    const auto pair = [](const AVRational* xy) {
        return text("(%lld,%lld)", inSteps(xy[0], kColorSteps), inSteps(xy[1], kColorSteps));
    };
    std::string option = ":master-display=";
    for (int i = 0; i < 3; ++i)
        option += kNames[i] + pair(display.display_primaries[kGreenBlueRed[i]]);
    return option + "WP" + pair(display.white_point) +
           text("L(%lld,%lld)", inSteps(display.max_luminance, kLightSteps),
                inSteps(display.min_luminance, kLightSteps));
}

// libx265 takes HDR metadata in options of its own only.
std::string x265Options(const AVFrame* first) {
    std::string options = "log-level=none";
    const auto* display =
        sideData<AVMasteringDisplayMetadata>(first, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    if (display != nullptr && display->has_primaries != 0 && display->has_luminance != 0) {
        options += masteringOption(*display);
    }
    const auto* light = sideData<AVContentLightMetadata>(first, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
    if (light != nullptr) options += text(":max-cll=%u,%u", light->MaxCLL, light->MaxFALL);
    return options;
}

}  // namespace

Status VideoEncoder::open(const VideoFormat& format, bool withGlobalHeader) {
    const EncoderChoice& choice = format.bitDepth > 8 ? kHevc : kH264;
    const AVCodec* codec = avcodec_find_encoder_by_name(choice.name);
    if (codec == nullptr) codec = avcodec_find_encoder(choice.codec);
    if (codec == nullptr) {
        return Status::error(std::string("FFmpeg's libraries have no encoder for ") +
                             avcodec_get_name(choice.codec));
    }
    mCodec.reset(avcodec_alloc_context3(codec));
    describe(format);
    if (withGlobalHeader) mCodec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // An encoder that stands in for the named one need not know these.
    av_opt_set(mCodec->priv_data, "preset", choice.preset, 0);
    av_opt_set(mCodec->priv_data, "crf", choice.quality, 0);
    const std::string x265 = x265Options(format.first.get());
    av_opt_set(mCodec->priv_data, "x265-params", x265.c_str(), 0);
    int result = avcodec_open2(mCodec.get(), codec, nullptr);
    if (result < 0) {
        return Status::error(text("%s cannot encode %dx%d: %s", codec->name, format.width,
                                  format.height, avErrorWithLog(result).c_str()));
    }
    mFrame = allocateFrame(mCodec->pix_fmt, format.width, format.height);
    return mFrame != nullptr ? Status() : Status::error("no memory for a frame");
}

void VideoEncoder::describe(const VideoFormat& format) {
    mCodec->width = format.width;
    mCodec->height = format.height;
    mCodec->pix_fmt = planarFormat(format.bitDepth);
    mCodec->time_base = format.timeBase;
    mCodec->framerate = format.frameRate;
    mCodec->sample_aspect_ratio = format.sampleAspectRatio;
    mCodec->color_range = format.range;
    mCodec->color_primaries = format.primaries;
    mCodec->color_trc = format.transfer;
    mCodec->colorspace = format.matrix;
    mCodec->chroma_sample_location = format.chromaLocation;
    mCodec->thread_count = 0;
}

Status VideoEncoder::send(const SemiPlanarPicture& picture, FrameTime time) {
    int result = av_frame_make_writable(mFrame.get());
    if (result >= 0) {
        unpack(picture, mFrame.get());
        mFrame->pts = time.pts;
        mDurations[time.pts] = time.duration;
        result = avcodec_send_frame(mCodec.get(), mFrame.get());
    }
    return result < 0 ? Status::error(avErrorWithLog(result)) : Status();
}

Status VideoEncoder::sendEnd() {
    int result = avcodec_send_frame(mCodec.get(), nullptr);
    return result < 0 ? Status::error(avErrorWithLog(result)) : Status();
}

Status VideoEncoder::receive(AVPacket* packet) {
    int result = avcodec_receive_packet(mCodec.get(), packet);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return {};
    if (result < 0) return Status::error(avErrorWithLog(result));
    if (auto known = mDurations.extract(packet->pts); !known.empty()) {
        packet->duration = known.mapped();
    }
    return {};
}

}  // namespace plexa
