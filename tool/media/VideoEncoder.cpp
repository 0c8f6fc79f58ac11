// Encodes frames with one of libavcodec's encoders.
#include "media/VideoEncoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include "base/Text.h"
#include "media/AvMessages.h"
#include "media/PixelScaler.h"
#include "media/PlanarFrame.h"

namespace plexa {
namespace {

struct Setting {
    const char* key;
    const char* value;
};

struct EncoderChoice {
    const char* name;
    AVCodecID codec;  // whose default encoder stands in for a missing one of that name
    std::array<Setting, 3> settings;
};

// The quality is hard to tell from the input; the presets keep up with the pipe on a few cores.
constexpr EncoderChoice kH264 = {
    "libx264", AV_CODEC_ID_H264, {{{"preset", "medium"}, {"crf", "18"}, {}}}};
constexpr EncoderChoice kHevc = {
    "libx265",
    AV_CODEC_ID_HEVC,
    {{{"preset", "fast"}, {"crf", "20"}, {"x265-params", "log-level=none"}}}};

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
    for (const Setting& setting : choice.settings) {
        // An encoder that stands in for the named one need not know the setting.
        if (setting.key != nullptr) av_opt_set(mCodec->priv_data, setting.key, setting.value, 0);
    }
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
