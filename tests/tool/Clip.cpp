// Encoded clips that the tests make and look into with FFmpeg's libraries.
#include "Clip.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>

#include "media/AvHandles.h"

namespace plexa::test {
namespace {

struct CloseOutput {
    void operator()(AVFormatContext* output) const {
        avio_closep(&output->pb);
        avformat_free_context(output);
    }
};
using MuxerPtr = std::unique_ptr<AVFormatContext, CloseOutput>;

CodecPtr openEncoder(const Clip& clip, int width, int height) {
    const AVCodec* codec = avcodec_find_encoder_by_name(clip.codec.c_str());
    if (codec == nullptr) return nullptr;
    CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = clip.pixels;
    encoder->time_base = clip.timeBase;
    encoder->sample_aspect_ratio = clip.sampleAspectRatio;
    encoder->color_range = clip.range;
    encoder->color_primaries = clip.primaries;
    encoder->color_trc = clip.transfer;
    encoder->colorspace = clip.matrix;
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return avcodec_open2(encoder.get(), codec, nullptr) == 0 ? std::move(encoder) : nullptr;
}

void addMastering(AVStream* stream, int peak) {
    AVMasteringDisplayMetadata* display = av_mastering_display_metadata_alloc();
    display->has_luminance = 1;
    display->max_luminance = {peak, 1};
    display->min_luminance = {0, 1};
    av_stream_add_side_data(stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                            reinterpret_cast<uint8_t*>(display), sizeof(*display));
}

MuxerPtr openMuxer(const std::string& path, const AVCodecContext& encoder, const Clip& clip) {
    AVFormatContext* muxer = nullptr;
    if (avformat_alloc_output_context2(&muxer, nullptr, nullptr, path.c_str()) < 0) return nullptr;
    MuxerPtr result(muxer);
    AVStream* stream = avformat_new_stream(muxer, nullptr);
    avcodec_parameters_from_context(stream->codecpar, &encoder);
    stream->time_base = encoder.time_base;
    stream->sample_aspect_ratio = encoder.sample_aspect_ratio;
    if (clip.masteringPeak > 0) addMastering(stream, clip.masteringPeak);
    if (avio_open(&muxer->pb, path.c_str(), AVIO_FLAG_WRITE) < 0) return nullptr;
    if (clip.indexFirst) av_opt_set(muxer, "movflags", "faststart", AV_OPT_SEARCH_CHILDREN);
    return avformat_write_header(muxer, nullptr) == 0 ? std::move(result) : nullptr;
}

// Sends a frame, or null for the end, and writes the packets that come out.
bool encode(AVCodecContext* encoder, const AVFrame* frame, AVFormatContext* muxer) {
    if (avcodec_send_frame(encoder, frame) < 0) return false;
    PacketPtr packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder, packet.get()) == 0) {
        av_packet_rescale_ts(packet.get(), encoder->time_base, muxer->streams[0]->time_base);
        packet->duration = 0;
        if (av_interleaved_write_frame(muxer, packet.get()) < 0) return false;
    }
    return true;
}

void fill(AVFrame* frame, int plane, int rows, int value, int bits) {
    const auto size = static_cast<size_t>(rows) * static_cast<size_t>(frame->linesize[plane]);
    if (bits == 8) {
        std::memset(frame->data[plane], value, size);
    } else {
        std::fill_n(reinterpret_cast<uint16_t*>(frame->data[plane]), size / 2,
                    static_cast<uint16_t>(value << (bits - 8)));
    }
}

FramePtr flatFrame(const Clip& clip, const ClipFrame& spec, int luma) {
    FramePtr frame(av_frame_alloc());
    frame->format = clip.pixels;
    frame->width = spec.width;
    frame->height = spec.height;
    frame->pts = spec.pts;
    av_frame_get_buffer(frame.get(), 0);
    const int bits = av_pix_fmt_desc_get(clip.pixels)->comp[0].depth;
    const int chromaRows = (spec.height + 1) / 2;
    fill(frame.get(), 0, spec.height, luma, bits);
    fill(frame.get(), 1, chromaRows, clip.cb, bits);
    fill(frame.get(), 2, chromaRows, clip.cr, bits);
    return frame;
}

// What FFmpeg has to say of the clips is of no use to who reads the tests' output.
const bool sQuiet = (av_log_set_level(AV_LOG_FATAL), true);

using OnFrame = std::function<bool(const AVStream&, const AVFrame&)>;

bool drain(AVCodecContext* decoder, const AVStream& stream, const OnFrame& onFrame) {
    FramePtr frame(av_frame_alloc());
    while (avcodec_receive_frame(decoder, frame.get()) == 0) {
        if (!onFrame(stream, *frame)) return false;
    }
    return true;
}

// Decodes until the end, or until onFrame returns false.
void decode(const std::string& path, const OnFrame& onFrame) {
    AVFormatContext* input = nullptr;
    if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) return;
    InputPtr demuxer(input);
    if (avformat_find_stream_info(input, nullptr) < 0) return;
    const AVStream& stream = *input->streams[0];
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    CodecPtr decoder(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoder.get(), stream.codecpar);
    decoder->pkt_timebase = stream.time_base;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return;
    PacketPtr packet(av_packet_alloc());
    while (av_read_frame(input, packet.get()) >= 0) {
        avcodec_send_packet(decoder.get(), packet.get());
        av_packet_unref(packet.get());
        if (!drain(decoder.get(), stream, onFrame)) return;
    }
    avcodec_send_packet(decoder.get(), nullptr);
    drain(decoder.get(), stream, onFrame);
}

}  // namespace

std::vector<double> Clip::seconds() const {
    std::vector<double> result;
    for (const ClipFrame& frame : frames) {
        result.push_back(static_cast<double>(frame.pts) * av_q2d(timeBase));
    }
    return result;
}

bool makeClip(const std::string& path, const Clip& clip) {
    CodecPtr encoder = openEncoder(clip, clip.frames[0].width, clip.frames[0].height);
    if (encoder == nullptr) return false;
    MuxerPtr muxer = openMuxer(path, *encoder, clip);
    if (muxer == nullptr) return false;
    int luma = clip.luma;
    for (const ClipFrame& frame : clip.frames) {
        if (frame.width != encoder->width || frame.height != encoder->height) {
            encode(encoder.get(), nullptr, muxer.get());
            encoder = openEncoder(clip, frame.width, frame.height);
        }
        if (!encode(encoder.get(), flatFrame(clip, frame, luma++).get(), muxer.get())) return false;
    }
    return encode(encoder.get(), nullptr, muxer.get()) && av_write_trailer(muxer.get()) == 0;
}

bool makeSound(const std::string& path) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PCM_S16LE);
    CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->sample_fmt = AV_SAMPLE_FMT_S16;
    encoder->sample_rate = 8000;
    encoder->time_base = {1, 8000};
    av_channel_layout_default(&encoder->ch_layout, 1);
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0) return false;
    MuxerPtr muxer = openMuxer(path, *encoder, Clip());
    if (muxer == nullptr) return false;
    FramePtr frame(av_frame_alloc());
    frame->format = encoder->sample_fmt;
    frame->nb_samples = 800;
    frame->pts = 0;
    av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
    av_frame_get_buffer(frame.get(), 0);
    std::memset(frame->data[0], 0, static_cast<size_t>(frame->linesize[0]));
    return encode(encoder.get(), frame.get(), muxer.get()) && av_write_trailer(muxer.get()) == 0;
}

Clip readClip(const std::string& path) {
    Clip clip;
    decode(path, [&clip](const AVStream& stream, const AVFrame& frame) {
        clip.codec = avcodec_get_name(stream.codecpar->codec_id);
        clip.pixels = static_cast<AVPixelFormat>(frame.format);
        clip.timeBase = stream.time_base;
        clip.sampleAspectRatio = frame.sample_aspect_ratio;
        clip.range = frame.color_range;
        clip.primaries = frame.color_primaries;
        clip.transfer = frame.color_trc;
        clip.matrix = frame.colorspace;
        clip.frames.push_back({frame.width, frame.height, frame.best_effort_timestamp});
        return true;
    });
    return clip;
}

int pixelAt(const std::string& path, int x, int y) {
    int color = -1;
    decode(path, [&](const AVStream& /*stream*/, const AVFrame& frame) {
        ScalerPtr scaler(sws_getContext(frame.width, frame.height,
                                        static_cast<AVPixelFormat>(frame.format), frame.width,
                                        frame.height, AV_PIX_FMT_RGB24,
                                        SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
        std::vector<uint8_t> rgb(static_cast<size_t>(frame.width * frame.height) * 3 + 64);
        std::array<uint8_t*, 4> planes{rgb.data()};
        std::array<int, 4> strides{frame.width * 3};
        sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes.data(),
                  strides.data());
        const uint8_t* pixel = rgb.data() + (static_cast<ptrdiff_t>(y) * frame.width + x) * 3;
        color = pixel[0] << 16 | pixel[1] << 8 | pixel[2];
        return false;
    });
    return color;
}

}  // namespace plexa::test
