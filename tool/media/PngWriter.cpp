// RGB pictures: made from finished frames and written as PNG.
#include "media/PngWriter.h"

#include "media/AvMessages.h"
#include "media/PlanarFrame.h"

namespace plexa {
namespace {

Status encodePng(const AVFrame& rgb, AVPacket* packet) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (codec == nullptr) return Status::error("FFmpeg's libraries have no encoder for PNG");
    CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = rgb.width;
    encoder->height = rgb.height;
    encoder->pix_fmt = AV_PIX_FMT_RGB24;
    encoder->time_base = {1, 1};
    encoder->sample_aspect_ratio = rgb.sample_aspect_ratio;
    int result = avcodec_open2(encoder.get(), codec, nullptr);
    if (result >= 0) result = avcodec_send_frame(encoder.get(), &rgb);
    if (result >= 0) result = avcodec_send_frame(encoder.get(), nullptr);
    if (result >= 0) result = avcodec_receive_packet(encoder.get(), packet);
    return result < 0 ? Status::error(avErrorWithLog(result)) : Status();
}

}  // namespace

RgbConverter::RgbConverter(const VideoFormat& format)
    : mScaler(format),
      mPlanar(allocateFrame(planarFormat(format.bitDepth), format.width, format.height)) {
    if (mPlanar != nullptr) mPlanar->sample_aspect_ratio = format.sampleAspectRatio;
}

Status RgbConverter::convert(const SemiPlanarPicture& picture, FramePtr* rgb) {
    *rgb = allocateFrame(AV_PIX_FMT_RGB24, picture.width, picture.height);
    if (mPlanar == nullptr || *rgb == nullptr) return Status::error("no memory for a picture");
    unpack(picture, mPlanar.get());
    (*rgb)->sample_aspect_ratio = mPlanar->sample_aspect_ratio;
    return mScaler.convert(*mPlanar, rgb->get());
}

Status withoutAlpha(const uint8_t* rgba, int stride, int width, int height, FramePtr* rgb) {
    FramePtr source(av_frame_alloc());
    *rgb = allocateFrame(AV_PIX_FMT_RGB24, width, height);
    if (source == nullptr || *rgb == nullptr) return Status::error("no memory for a picture");
    source->format = AV_PIX_FMT_RGBA;
    source->width = width;
    source->height = height;
    source->data[0] = const_cast<uint8_t*>(rgba);
    source->linesize[0] = stride;
    VideoFormat format;
    format.width = width;
    format.height = height;
    return PixelScaler(format).convert(*source, rgb->get());
}

Status writePng(const AVFrame& rgb, OutputFile* file) {
    PacketPtr packet(av_packet_alloc());
    Status status = encodePng(rgb, packet.get());
    if (!status.isOk()) return Status::error(file->name() + ": " + status.text());
    int result = file->write(packet->data, static_cast<size_t>(packet->size));
    return result < 0 ? file->error(-result) : file->commit();
}

}  // namespace plexa
