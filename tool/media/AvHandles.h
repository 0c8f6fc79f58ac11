// Owners for the objects of FFmpeg's libraries.
#pragma once

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>

namespace plexa {

/** Frees what FFmpeg's libraries allocated, each type with its own call. */
struct AvDelete {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};

/** Closes a format context that was opened for reading. */
struct AvCloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};

/** Frees a format context for writing; its AVIOContext is not its own. */
struct AvFreeOutput {
    void operator()(AVFormatContext* output) const { avformat_free_context(output); }
};

/** Closes a file of FFmpeg's, whatever comes of it. */
struct AvCloseIo {
    void operator()(AVIOContext* io) const { avio_close(io); }
};

using FramePtr = std::unique_ptr<AVFrame, AvDelete>;
using PacketPtr = std::unique_ptr<AVPacket, AvDelete>;
using CodecPtr = std::unique_ptr<AVCodecContext, AvDelete>;
using InputPtr = std::unique_ptr<AVFormatContext, AvCloseInput>;
using OutputPtr = std::unique_ptr<AVFormatContext, AvFreeOutput>;
using IoPtr = std::unique_ptr<AVIOContext, AvCloseIo>;

}  // namespace plexa
