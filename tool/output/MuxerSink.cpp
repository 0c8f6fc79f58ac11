// Encodes frames into a container.
#include "output/MuxerSink.h"

#include <cstring>
#include <utility>

#include "base/Text.h"
#include "media/AvMessages.h"
#include "media/PlanarFrame.h"
#include "output/Encoder.h"

namespace plexa {
Status MuxerSink::named(const Status& status) const {
    return status.isOk() ? status : Status::error(mPath + ": " + status.text());
}

Status MuxerSink::open(const VideoFormat& format, const VideoFormat& /*source*/) {
    mFormat = format;
    if (format.width % 2 != 0 || format.height % 2 != 0) {
        return Status::error(
            text("%s: H.264 and HEVC cannot hold the odd size %dx%d; choose an "
                 "even --size or write .y4m",
                 mPath.c_str(), format.width, format.height));
    }
    AVFormatContext* muxer = nullptr;
    const char* name = mContainer == OutputKind::Mp4 ? "mp4" : "matroska";
    int result = avformat_alloc_output_context2(&muxer, nullptr, name, mPath.c_str());
    mMuxer.reset(muxer);
    if (result < 0) return named(avStatus(result));
    const bool withGlobalHeader = (muxer->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    Status status = named(openEncoder(format, withGlobalHeader, &mEncoder));
    if (status.isOk()) status = mFile.create(mPath);
    return status.isOk() ? addStream() : status;
}

Status MuxerSink::addStream() {
    mMuxer->pb = mFile.io();
    mMuxer->flags |= AVFMT_FLAG_CUSTOM_IO;
    mStream = avformat_new_stream(mMuxer.get(), nullptr);
    int result = avcodec_parameters_from_context(mStream->codecpar, mEncoder.get());
    if (mContainer == OutputKind::Mp4 && mStream->codecpar->codec_id == AV_CODEC_ID_HEVC) {
        mStream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');  // the tag that all players take
    }
    mStream->time_base = mFormat.timeBase;
    mStream->avg_frame_rate = mFormat.frameRate;
    mStream->sample_aspect_ratio = mFormat.sampleAspectRatio;
    addSideData();
    // Neither keeps an entry without a value.
    av_dict_set(&mMuxer->metadata, "title", mFormat.title.c_str(), 0);
    av_dict_set(&mStream->metadata, "language", mFormat.language.c_str(), 0);
    if (result >= 0) result = avformat_write_header(mMuxer.get(), nullptr);
    Status status = mFile.flush();
    if (!status.isOk()) return status;
    return named(avStatus(result));
}

// Display matrix and HDR metadata, as far as the container has a place for them.
void MuxerSink::addSideData() {
    constexpr std::pair<AVFrameSideDataType, AVPacketSideDataType> kTypes[] = {
        {AV_FRAME_DATA_DISPLAYMATRIX, AV_PKT_DATA_DISPLAYMATRIX},
        {AV_FRAME_DATA_MASTERING_DISPLAY_METADATA, AV_PKT_DATA_MASTERING_DISPLAY_METADATA},
        {AV_FRAME_DATA_CONTENT_LIGHT_LEVEL, AV_PKT_DATA_CONTENT_LIGHT_LEVEL}};
    for (const auto& [ofFrame, ofStream] : kTypes) {
        const AVFrameSideData* data = av_frame_get_side_data(mFormat.first.get(), ofFrame);
        if (data == nullptr) continue;
        uint8_t* copy = av_stream_new_side_data(mStream, ofStream, data->size);
        if (copy != nullptr) std::memcpy(copy, data->data, data->size);
    }
}

Status MuxerSink::write(const FinishedFrame& frame) {
    // An encoder may still hold the last frame's samples.
    mFrame = allocateFrame(mEncoder->pix_fmt, mFormat.width, mFormat.height);
    if (mFrame == nullptr) return named(Status::error("no memory for a frame"));
    unpack(pixelsOf(frame.buffer), mFrame.get());
    mFrame->pts = frame.time.pts;
    mDurations[frame.time.pts] = frame.time.duration;
    return encode(mFrame.get());
}

// Writes all packets that are ready; null is the end.
Status MuxerSink::encode(const AVFrame* frame) {
    int result = avcodec_send_frame(mEncoder.get(), frame);
    while (result >= 0) {
        result = avcodec_receive_packet(mEncoder.get(), mPacket.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return {};
        if (result < 0) break;
        const auto known = mDurations.extract(mPacket->pts);
        if (!known.empty()) mPacket->duration = known.mapped();
        mPacket->stream_index = mStream->index;
        av_packet_rescale_ts(mPacket.get(), mFormat.timeBase, mStream->time_base);
        result = av_interleaved_write_frame(mMuxer.get(), mPacket.get());
        Status status = mFile.flush();
        if (!status.isOk()) return status;
    }
    return named(avStatus(result));
}

Status MuxerSink::finish() {
    Status status = encode(nullptr);
    if (!status.isOk()) return status;
    const int result = av_write_trailer(mMuxer.get());
    status = result < 0 ? mFile.flush() : mFile.commit();
    return status.isOk() ? named(avStatus(result)) : status;
}

}  // namespace plexa
