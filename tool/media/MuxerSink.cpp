// Encodes frames into a container.
#include "media/MuxerSink.h"

#include <cstring>

#include "base/Text.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

const char* muxerOf(Container container) {
    return container == Container::Mp4 ? "mp4" : "matroska";
}

}  // namespace

MuxerSink::MuxerSink(const std::string& path, Container container, const Cancellation& cancellation)
    : mPath(path), mContainer(container), mFile(cancellation) {}

MuxerSink::~MuxerSink() = default;

Status MuxerSink::named(const Status& status) const {
    return status.isOk() ? status : Status::error(mPath + ": " + status.text());
}

Status MuxerSink::open(const VideoFormat& format) {
    mFormat = format;
    if (format.width % 2 != 0 || format.height % 2 != 0) {
        return Status::error(
            text("%s: H.264 and HEVC cannot hold the odd size %dx%d; choose an "
                 "even --size or write .y4m",
                 mPath.c_str(), format.width, format.height));
    }
    AVFormatContext* muxer = nullptr;
    int result =
        avformat_alloc_output_context2(&muxer, nullptr, muxerOf(mContainer), mPath.c_str());
    mMuxer.reset(muxer);
    if (result < 0) return named(Status::error(avErrorWithLog(result)));
    const bool withGlobalHeader = (muxer->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    Status status = named(mEncoder.open(format, withGlobalHeader));
    if (status.isOk()) status = mFile.create(mPath);
    return status.isOk() ? addStream() : status;
}

Status MuxerSink::addStream() {
    mMuxer->pb = mFile.io();
    mMuxer->flags |= AVFMT_FLAG_CUSTOM_IO;
    mStream = avformat_new_stream(mMuxer.get(), nullptr);
    int result = avcodec_parameters_from_context(mStream->codecpar, &mEncoder.codec());
    if (mContainer == Container::Mp4 && mStream->codecpar->codec_id == AV_CODEC_ID_HEVC) {
        mStream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');  // the tag that all players take
    }
    mStream->time_base = mFormat.timeBase;
    mStream->avg_frame_rate = mFormat.frameRate;
    mStream->sample_aspect_ratio = mFormat.sampleAspectRatio;
    if (mFormat.displayMatrix) {
        constexpr size_t kSize = sizeof(*mFormat.displayMatrix);
        uint8_t* matrix = av_stream_new_side_data(mStream, AV_PKT_DATA_DISPLAYMATRIX, kSize);
        if (matrix != nullptr) std::memcpy(matrix, mFormat.displayMatrix->data(), kSize);
    }
    if (result >= 0) result = avformat_write_header(mMuxer.get(), nullptr);
    Status status = mFile.flush();
    if (!status.isOk()) return status;
    return result < 0 ? named(Status::error(avErrorWithLog(result))) : Status();
}

Status MuxerSink::write(const SemiPlanarPicture& picture, FrameTime time) {
    Status status = checkTime(time);
    if (status.isOk()) status = named(mEncoder.send(picture, time));
    ++mFrames;
    return status.isOk() ? drain() : status;
}

Status MuxerSink::checkTime(FrameTime time) {
    if (time.pts <= mLastPts) {
        const long long number = mFrames + 1;
        return Status::error(text("%s: frame %lld is not shown later than the one before it",
                                  mPath.c_str(), number));
    }
    mLastPts = time.pts;
    return {};
}

Status MuxerSink::drain() {
    for (;;) {
        Status status = named(mEncoder.receive(mPacket.get()));
        if (!status.isOk() || mPacket->data == nullptr) return status;
        mPacket->stream_index = mStream->index;
        av_packet_rescale_ts(mPacket.get(), mFormat.timeBase, mStream->time_base);
        int result = av_interleaved_write_frame(mMuxer.get(), mPacket.get());
        status = mFile.flush();
        if (!status.isOk()) return status;
        if (result < 0) return named(Status::error(avErrorWithLog(result)));
    }
}

Status MuxerSink::finish() {
    Status status = named(mEncoder.sendEnd());
    if (status.isOk()) status = drain();
    if (!status.isOk()) return status;
    int result = av_write_trailer(mMuxer.get());
    status = mFile.commit();
    if (!status.isOk()) return status;
    return result < 0 ? named(Status::error(avErrorWithLog(result))) : Status();
}

std::vector<std::string> MuxerSink::warnings() const {
    if (!mFormat.displayMatrix || mContainer == Container::Mp4) return {};
    return {mPath + ": the input's rotation is not carried over"};
}

}  // namespace plexa
