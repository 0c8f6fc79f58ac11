// Writes pictures as PNG.
#include "output/PngWriter.h"

#include "media/AvMessages.h"
#include "media/FilterGraph.h"

namespace plexa {
namespace {

Status filter(const std::vector<AVFrame*>& frames, const std::string& filters, AVFrame* picture) {
    FilterGraph graph;
    const AVRational aspect = frames[0]->sample_aspect_ratio;
    Status status = graph.open(*frames[0], {filters + ",format=rgb24", "", {1, 1}, {1, 1}});
    for (size_t i = 0; i < frames.size() && status.isOk(); ++i) {
        frames[i]->pts = static_cast<int64_t>(i);
        status = graph.send(frames[i]);
    }
    if (status.isOk()) status = graph.send(nullptr);
    auto result = FilterGraph::Result::End;
    if (status.isOk()) status = graph.receive(picture, &result);
    if (status.isOk() && result != FilterGraph::Result::Frame) {
        return Status::error("no memory for a picture");
    }
    picture->sample_aspect_ratio = aspect;
    return status;
}

Status encode(const AVFrame& picture, AVPacket* packet) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (codec == nullptr) return Status::error("FFmpeg's libraries have no encoder for PNG");
    CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = picture.width;
    encoder->height = picture.height;
    encoder->pix_fmt = AV_PIX_FMT_RGB24;
    encoder->time_base = {1, 1};
    encoder->sample_aspect_ratio = picture.sample_aspect_ratio;
    int result = avcodec_open2(encoder.get(), codec, nullptr);
    if (result >= 0) result = avcodec_send_frame(encoder.get(), &picture);
    if (result >= 0) result = avcodec_send_frame(encoder.get(), nullptr);
    if (result >= 0) result = avcodec_receive_packet(encoder.get(), packet);
    return avStatus(result);
}

}  // namespace

Status writePng(const std::vector<AVFrame*>& frames, const std::string& filters, OutputFile* file) {
    FramePtr picture(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    Status status = filter(frames, filters, picture.get());
    if (status.isOk()) status = encode(*picture, packet.get());
    if (!status.isOk()) return Status::error(file->name() + ": " + status.text());
    status = file->write(packet->data, static_cast<size_t>(packet->size));
    return status.isOk() ? file->commit() : status;
}

}  // namespace plexa
