// Sets up one of libavcodec's video encoders.
#include "output/Encoder.h"

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

void describe(const VideoFormat& format, AVCodecContext* encoder) {
    encoder->width = format.width;
    encoder->height = format.height;
    encoder->pix_fmt = planarFormat(format.bitDepth);
    encoder->time_base = format.timeBase;
    encoder->framerate = format.frameRate;
    encoder->sample_aspect_ratio = format.sampleAspectRatio;
    encoder->color_range = format.range;
    encoder->color_primaries = format.primaries;
    encoder->color_trc = format.transfer;
    encoder->colorspace = format.matrix;
    encoder->chroma_sample_location = format.chromaLocation;
    encoder->thread_count = 0;
}

}  // namespace

Status openEncoder(const VideoFormat& format, bool withGlobalHeader, CodecPtr* encoder) {
    const EncoderChoice& choice = format.bitDepth > 8 ? kHevc : kH264;
    const AVCodec* codec = avcodec_find_encoder_by_name(choice.name);
    if (codec == nullptr) codec = avcodec_find_encoder(choice.codec);
    if (codec == nullptr) {
        return Status::error(std::string("FFmpeg's libraries have no encoder for ") +
                             avcodec_get_name(choice.codec));
    }
    encoder->reset(avcodec_alloc_context3(codec));
    describe(format, encoder->get());
    if (withGlobalHeader) (*encoder)->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // An encoder that stands in for the named one need not know these.
    void* options = (*encoder)->priv_data;
    av_opt_set(options, "preset", choice.preset, 0);
    av_opt_set(options, "crf", choice.quality, 0);
    av_opt_set(options, "x265-params", x265Options(format.first.get()).c_str(), 0);
    const int result = avcodec_open2(encoder->get(), codec, nullptr);
    if (result >= 0) return {};
    return Status::error(text("%s cannot encode %dx%d: %s", codec->name, format.width,
                              format.height, avErrorWithLog(result).c_str()));
}

}  // namespace plexa
