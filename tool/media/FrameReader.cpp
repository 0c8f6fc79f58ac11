// Decodes the video of an input, a frame at a time.
#include "media/FrameReader.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>
#include <thread>

#include "base/Text.h"
#include "media/AvMessages.h"
#include "media/PixelScaler.h"

namespace plexa {
namespace {

// Each decoding thread holds frames of its own; more than this many only cost memory.
constexpr unsigned kMaxDecodingThreads = 8;

std::optional<std::array<int32_t, 9>> displayMatrixOf(const AVStream* stream) {
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    std::array<int32_t, 9> matrix;
    if (data == nullptr || size < sizeof(matrix)) return std::nullopt;
    std::memcpy(matrix.data(), data, sizeof(matrix));
    constexpr std::array<int32_t, 9> kUpright = {1 << 16, 0, 0, 0, 1 << 16, 0, 0, 0, 1 << 30};
    return matrix == kUpright ? std::nullopt : std::make_optional(matrix);
}

// The older "J" formats say the range in the format; everything after this goes by the range.
AVColorRange rangeOf(const AVFrame& frame) {
    const bool isJpegFormat = frame.format == AV_PIX_FMT_YUVJ420P ||
                              frame.format == AV_PIX_FMT_YUVJ422P ||
                              frame.format == AV_PIX_FMT_YUVJ444P;
    return isJpegFormat ? AVCOL_RANGE_JPEG : frame.color_range;
}

}  // namespace

Status FrameReader::open(const std::string& path) {
    Status status = mDemuxer.open(path);
    if (status.isOk()) status = openDecoder();
    if (status.isOk()) status = decode();
    return status.isOk() ? describe() : status;
}

Status FrameReader::openDecoder() {
    const AVStream* stream = mDemuxer.stream();
    const AVCodecID id = stream->codecpar->codec_id;
    const AVCodec* codec = avcodec_find_decoder(id);
    if (codec == nullptr) {
        return Status::error(mDemuxer.name() + ": there is no decoder for its format " +
                             avcodec_get_name(id));
    }
    mDecoder.reset(avcodec_alloc_context3(codec));
    int result = avcodec_parameters_to_context(mDecoder.get(), stream->codecpar);
    mDecoder->pkt_timebase = stream->time_base;
    mDecoder->apply_cropping = mCropping == Cropping::Decoder ? 1 : 0;
    mDecoder->thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMaxDecodingThreads));
    if (result >= 0) result = avcodec_open2(mDecoder.get(), codec, nullptr);
    if (result >= 0) return {};
    return Status::error(mDemuxer.name() + ": cannot be decoded: " + avErrorWithLog(result));
}

Status FrameReader::describe() {
    if (mAtEnd) return Status::error(mDemuxer.name() + ": holds no frame that can be decoded");
    const AVStream* stream = mDemuxer.stream();
    const AVPixFmtDescriptor* pixels =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(mFrame->format));
    mFormat.width = mFrame->width;
    mFormat.height = mFrame->height;
    mFormat.bitDepth = pixels->comp[0].depth > 8 ? 10 : 8;
    mFormat.timeBase = stream->time_base;
    mFormat.frameRate = mDemuxer.frameRate();
    mFormat.sampleAspectRatio = mDemuxer.sampleAspectRatio(mFrame.get());
    mFormat.range = rangeOf(*mFrame);
    mFormat.primaries = mFrame->color_primaries;
    mFormat.transfer = mFrame->color_trc;
    mFormat.matrix = mFrame->colorspace;
    mFormat.chromaLocation = mFrame->chroma_location;
    mFormat.displayMatrix = displayMatrixOf(stream);
    if (isRgb(static_cast<AVPixelFormat>(mFrame->format))) {
        mFormat.range = AVCOL_RANGE_MPEG;
        mFormat.matrix = matrixOf(mFormat);
    }
    mHasPending = true;
    if (!isTooLarge(mFormat.width, mFormat.height)) return {};
    return Status::error(text("%s: frames of %dx%d are too large", mDemuxer.name().c_str(),
                              mFormat.width, mFormat.height));
}

Status FrameReader::read(const AVFrame** frame, FrameTime* time) {
    *frame = nullptr;
    Status status = mHasPending || mAtEnd ? Status() : decode();
    mHasPending = false;
    if (!status.isOk() || mAtEnd) return status;
    *frame = mFrame.get();
    *time = takeTime();
    return {};
}

Status FrameReader::decode() {
    for (;;) {
        int result = avcodec_receive_frame(mDecoder.get(), mFrame.get());
        if (result == 0) return check();
        if (result == AVERROR_EOF) {
            mAtEnd = true;
            return {};
        }
        Status status = result == AVERROR(EAGAIN) ? feed() : damaged(result);
        if (!status.isOk()) return status;
    }
}

Status FrameReader::feed() {
    Status status = mDemuxer.read(mPacket.get());
    if (!status.isOk()) return status;
    mDraining = mPacket->data == nullptr;
    if ((mPacket->flags & AV_PKT_FLAG_CORRUPT) != 0) return damaged(AVERROR_INVALIDDATA);
    int result = avcodec_send_packet(mDecoder.get(), mDraining ? nullptr : mPacket.get());
    return result < 0 ? damaged(result) : Status();
}

Status FrameReader::check() {
    ++mFrames;
    const bool isCorrupt = (mFrame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
    if (isCorrupt || mFrame->decode_error_flags != 0) ++mPatchedFrames;
    mInterlaced = mInterlaced || mFrame->interlaced_frame != 0;
    if (mFrames == 1 || (mFrame->width == mFormat.width && mFrame->height == mFormat.height)) {
        return {};
    }
    return Status::error(text("%s: the video changes size from %dx%d to %dx%d at frame %lld",
                              mDemuxer.name().c_str(), mFormat.width, mFormat.height, mFrame->width,
                              mFrame->height, static_cast<long long>(mFrames)));
}

Status FrameReader::damaged(int error) {
    if (mFrames == 0 && !mDraining && error == AVERROR_INVALIDDATA) {
        ++mSkippedPackets;
        return {};
    }
    const long long number = mFrames + 1;
    return Status::error(text("%s: is damaged or cut short near frame %lld: %s",
                              mDemuxer.name().c_str(), number, avErrorWithLog(error).c_str()));
}

FrameTime FrameReader::takeTime() {
    FrameTime time{mFrame->best_effort_timestamp, mFrame->pkt_duration};
    if (time.pts == AV_NOPTS_VALUE) time.pts = mNextPts;
    if (time.duration <= 0 && mFormat.frameRate.num > 0) {
        time.duration = av_rescale_q(1, av_inv_q(mFormat.frameRate), mFormat.timeBase);
    }
    mNextPts = time.pts + std::max<int64_t>(time.duration, 1);
    return time;
}

std::vector<std::string> FrameReader::damageWarnings() const {
    std::vector<std::string> result;
    const char* name = mDemuxer.name().c_str();
    if (mSkippedPackets > 0) {
        result.push_back(text("%s: %lld packets before the first whole frame left out", name,
                              static_cast<long long>(mSkippedPackets)));
    }
    // Some decoders mark the frames that they patched up, some only say so.
    const DecoderErrors errors = decoderErrors();
    if (mPatchedFrames > 0 || errors.count > 0) {
        result.push_back(text("%s: is damaged, and the decoder patched it up%s%s", name,
                              errors.count > 0 ? "; it said first: " : "", errors.first.c_str()));
    }
    return result;
}

std::vector<std::string> FrameReader::warnings() const {
    std::vector<std::string> result = damageWarnings();
    const char* name = mDemuxer.name().c_str();
    if (mDemuxer.otherStreams() > 0) {
        result.push_back(text("%s: only the video is carried over, not its %d other streams", name,
                              mDemuxer.otherStreams()));
    }
    if (mInterlaced) result.push_back(text("%s: interlaced video is scaled as whole frames", name));
    return result;
}

}  // namespace plexa
