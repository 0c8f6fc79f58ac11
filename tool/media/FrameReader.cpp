// Decodes and filters the video of an input, a frame at a time.
#include "media/FrameReader.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

#include "base/Text.h"
#include "media/AvMessages.h"
#include "media/Colors.h"
#include "media/PlanarFrame.h"

namespace plexa {
namespace {

// Each decoding thread holds frames of its own; more than this many only cost memory.
constexpr unsigned kMaxDecodingThreads = 8;
constexpr int kMaxBits = 10;

struct SideDataPair {
    AVPacketSideDataType ofStream;
    AVFrameSideDataType ofFrame;
};

constexpr SideDataPair kSideData[] = {
    {AV_PKT_DATA_DISPLAYMATRIX, AV_FRAME_DATA_DISPLAYMATRIX},
    {AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA},
    {AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL},
};

// What the container says of the whole stream, every frame says.
void addSideData(const AVStream* stream, AVFrame* frame) {
    for (const SideDataPair& type : kSideData) {
        size_t size = 0;
        const uint8_t* data = av_stream_get_side_data(stream, type.ofStream, &size);
        if (data == nullptr || av_frame_get_side_data(frame, type.ofFrame) != nullptr) continue;
        AVFrameSideData* added = av_frame_new_side_data(frame, type.ofFrame, size);
        if (added != nullptr) std::memcpy(added->data, data, size);
    }
}

// The older "J" formats say the range in the format; everything after this goes by the range.
void sayRange(AVFrame* frame) {
    constexpr std::pair<AVPixelFormat, AVPixelFormat> kFullRange[] = {
        {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P},
        {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV422P},
        {AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUV440P},
        {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUV444P},
        {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUV411P}};
    for (const auto& [old, now] : kFullRange) {
        if (frame->format != old) continue;
        frame->format = now;
        frame->color_range = AVCOL_RANGE_JPEG;
    }
}

bool isEmpty(const AVFrame& frame) {
    return frame.buf[0] == nullptr;
}

}  // namespace

Status FrameReader::open() {
    Status status = mDemuxer.open(mOptions.path);
    if (status.isOk()) status = openDecoder();
    if (status.isOk()) status = advance();
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
    mDecoder->thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMaxDecodingThreads));
    if (result >= 0) result = avcodec_open2(mDecoder.get(), codec, nullptr);
    if (result >= 0) return {};
    return Status::error(mDemuxer.name() + ": cannot be decoded: " + avErrorWithLog(result));
}

Status FrameReader::describeSource() {
    const AVFrame& frame = *mDecoded;
    const auto pixels = static_cast<AVPixelFormat>(frame.format);
    mSourcePixels = av_pix_fmt_desc_get(pixels);
    mSource.width = frame.width;
    mSource.height = frame.height;
    mSource.bitDepth = mSourcePixels->comp[0].depth > 8 ? kMaxBits : 8;
    mSource.timeBase = mDemuxer.stream()->time_base;
    mSource.frameRate = mDemuxer.frameRate();
    mSource.range = frame.color_range;
    mSource.primaries = frame.color_primaries;
    mSource.transfer = frame.color_trc;
    mSource.matrix = frame.colorspace;
    mSource.chromaLocation = frame.chroma_location;
    if (isRgb(pixels)) {
        mSource.range = AVCOL_RANGE_MPEG;
        mSource.matrix = matrixOf(mSource);
    }
    if (!isTooLarge(mSource.width, mSource.height)) return {};
    return Status::error(text("%s: frames of %dx%d are too large", mDemuxer.name().c_str(),
                              mSource.width, mSource.height));
}

Status FrameReader::describe() {
    if (mAtEnd) {
        if (!mDamage.ending.empty()) return Status::error(mDamage.ending);
        const std::string cause = decoderErrors().first;
        return Status::error(mDemuxer.name() + ": holds no frame that can be decoded" +
                             (cause.empty() ? "" : ": " + cause));
    }
    mFormat = mSource;
    mFormat.width = mFrame->width;
    mFormat.height = mFrame->height;
    mFormat.timeBase = mGraph->timeBase();
    mFormat.frameRate = mGraph->frameRate();
    mFormat.sampleAspectRatio = mFrame->sample_aspect_ratio;
    if (!mOptions.filters.empty()) {
        mFormat.range = mFrame->color_range;
        mFormat.primaries = mFrame->color_primaries;
        mFormat.transfer = mFrame->color_trc;
        if (mFrame->colorspace != AVCOL_SPC_RGB) mFormat.matrix = mFrame->colorspace;
    }
    mFormat.title = mDemuxer.fileTag("title");
    mFormat.language = mDemuxer.streamTag("language");
    if (mFormat.language == "und") mFormat.language.clear();
    const std::shared_ptr<AVFrame> first(av_frame_alloc(), AvDelete());
    av_frame_copy_props(first.get(), mFrame.get());
    mFormat.first = first;
    mHasPending = true;
    return {};
}

Status FrameReader::read(const AVFrame** frame, FrameTime* time) {
    *frame = nullptr;
    Status status = mHasPending || mAtEnd ? Status() : advance();
    mHasPending = false;
    if (!status.isOk() || mAtEnd) return status;
    ++mFrames;
    *frame = mFrame.get();
    return takeTime(time);
}

// The next frame that leaves the filters, or the end.
Status FrameReader::advance() {
    while (!mAtEnd) {
        auto result = FilterGraph::Result::NeedsInput;
        if (mGraph) {
            Status status = mGraph->receive(mFrame.get(), &result);
            if (!status.isOk() || result == FilterGraph::Result::Frame) return status;
        }
        if (result == FilterGraph::Result::End) {
            // A frame that the filters were not made for waits, or there is none any more.
            mAtEnd = isEmpty(*mDecoded);
            mGraph.reset();
        } else if (Status status = pump(); !status.isOk()) {
            return status;
        }
    }
    return {};
}

// Brings the next decoded frame to the filters, or tells them that none comes.
Status FrameReader::pump() {
    Status status = isEmpty(*mDecoded) ? decode() : Status();
    if (!status.isOk()) return status;
    const bool isEnd = isEmpty(*mDecoded);
    if (!mGraph && isEnd) mAtEnd = true;
    if (!mGraph && !isEnd) status = openGraph();
    if (!status.isOk() || mAtEnd) return status;
    if (isEnd || !mGraph->takes(*mDecoded) || mGraphInterlaced != mInterlaced) {
        return mGraph->send(nullptr);
    }
    if (mOptions.turnsUpright && mOptions.filtersOfOurOwn) {
        av_frame_remove_side_data(mDecoded.get(), AV_FRAME_DATA_DISPLAYMATRIX);
    }
    return mGraph->send(mDecoded.get());
}

Status FrameReader::openGraph() {
    Status status = mSourcePixels == nullptr ? describeSource() : Status();
    if (!status.isOk()) return status;
    mGraphInterlaced = mInterlaced;
    status = mGraph.emplace().open(*mDecoded, {filtersFor(*mDecoded), conversionOptions(mSource),
                                               mSource.timeBase, mSource.frameRate});
    if (status.isOk()) return status;
    const std::string cause = mOptions.filters.empty() ? mDemuxer.name() : "--filters";
    return Status::error(cause + ": " + status.text());
}

std::string FrameReader::filtersFor(const AVFrame& frame) const {
    std::string filters;
    const auto add = [&filters](const std::string& more) {
        if (!more.empty()) filters += more + ",";
    };
    if (mInterlaced) add("yadif=deint=interlaced");
    const auto* matrix = sideData<int32_t>(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    if (mOptions.turnsUpright && mOptions.filtersOfOurOwn && matrix != nullptr) {
        add(uprightFilters(matrix));
    }
    add(mOptions.filters);
    return filters + "format=" + av_get_pix_fmt_name(planarFormat(mSource.bitDepth));
}

// The next decoded frame into mDecoded, which stays empty at the end.
Status FrameReader::decode() {
    for (;;) {
        const int result = avcodec_receive_frame(mDecoder.get(), mDecoded.get());
        if (result == 0) return prepareDecoded();
        if (result == AVERROR_EOF) return {};
        Status status = result == AVERROR(EAGAIN) ? feed() : skip(result);
        if (!status.isOk()) return status;
    }
}

Status FrameReader::feed() {
    Status status = mDemuxer.read(mPacket.get());
    if (!status.isOk()) status = endEarly(status);
    if (!status.isOk()) return status;
    const bool isEnd = mPacket->data == nullptr;
    const bool isCorrupt = (mPacket->flags & AV_PKT_FLAG_CORRUPT) != 0;
    if (isCorrupt && mOptions.strict) return skip(AVERROR_INVALIDDATA);
    const int result = avcodec_send_packet(mDecoder.get(), isEnd ? nullptr : mPacket.get());
    return result < 0 && result != AVERROR_EOF ? skip(result) : Status();
}

// Whatever the input's end lacks, what came before it is worth having.
Status FrameReader::endEarly(const Status& cause) {
    if (mOptions.strict) return cause;
    mDamage.ending = cause.text();
    av_packet_unref(mPacket.get());
    return {};
}

Status FrameReader::skip(int error) {
    ++mDamage.skippedPackets;
    // A recording may start between two key frames.
    const bool isStart = mDecodedFrames == 0 && error == AVERROR_INVALIDDATA;
    if (error != AVERROR(ENOMEM) && (isStart || !mOptions.strict)) return {};
    const long long number = mDecodedFrames + 1;
    return Status::error(text("%s: is damaged or cut short near frame %lld: %s",
                              mDemuxer.name().c_str(), number, avErrorWithLog(error).c_str()));
}

Status FrameReader::prepareDecoded() {
    AVFrame* frame = mDecoded.get();
    ++mDecodedFrames;
    const bool isCorrupt = (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
    if (isCorrupt || frame->decode_error_flags != 0) ++mDamage.patchedFrames;
    if (mOptions.filtersOfOurOwn && frame->interlaced_frame != 0) mInterlaced = true;
    sayRange(frame);
    addSideData(mDemuxer.stream(), frame);
    mHasDynamicHdr = mHasDynamicHdr ||
                     av_frame_get_side_data(frame, AV_FRAME_DATA_DYNAMIC_HDR_PLUS) != nullptr ||
                     av_frame_get_side_data(frame, AV_FRAME_DATA_DOVI_METADATA) != nullptr;
    frame->sample_aspect_ratio = mDemuxer.sampleAspectRatio(frame);
    frame->pts = frame->best_effort_timestamp;
    if (frame->pts == AV_NOPTS_VALUE) frame->pts = mNextDecoded;
    const AVRational rate = mDemuxer.frameRate();
    if (frame->pkt_duration <= 0 && rate.num > 0) {
        frame->pkt_duration = av_rescale_q(1, av_inv_q(rate), mDemuxer.stream()->time_base);
    }
    mNextDecoded = frame->pts + std::max<int64_t>(frame->pkt_duration, 1);
    return {};
}

Status FrameReader::takeTime(FrameTime* time) {
    int64_t pts = av_rescale_q(mFrame->pts, mGraph->timeBase(), mFormat.timeBase);
    const AVRational frame = av_inv_q(mFormat.frameRate);
    const bool isOwnDuration = mOptions.filters.empty() || frame.den == 0;
    time->duration = isOwnDuration
                         ? av_rescale_q(mFrame->pkt_duration, mSource.timeBase, mFormat.timeBase)
                         : av_rescale_q(1, frame, mFormat.timeBase);
    if (mFrames == 1 && !mOptions.keepsTimes) mOffset = -pts;
    pts += mOffset;
    if (pts <= mLastPts) {
        if (mOptions.strict) {
            const long long number = mFrames;
            return Status::error(text("%s: frame %lld is not shown later than the one before it",
                                      mDemuxer.name().c_str(), number));
        }
        ++mDamage.mendedTimes;
        // One frame out of line follows the last one closely; a clock that was set back goes on.
        const int64_t second = av_rescale_q(1, {1, 1}, mFormat.timeBase);
        const bool isNewClock = mLastPts - pts > second;
        const int64_t next = mLastPts + (isNewClock ? std::max<int64_t>(time->duration, 1) : 1);
        if (isNewClock) mOffset += next - pts;
        pts = next;
    }
    mLastPts = pts;
    time->pts = pts;
    return {};
}

std::vector<std::string> FrameReader::pictureNotes() const {
    std::vector<std::string> notes;
    noteDamage(&notes);
    noteLosses(&notes);
    return notes;
}

std::vector<std::string> FrameReader::notes() const {
    std::vector<std::string> notes = pictureNotes();
    const std::string& name = mDemuxer.name();
    if (mHasDynamicHdr) notes.push_back(name + ": its scene-by-scene HDR metadata is left out");
    std::string others;
    for (const std::string& kind : mDemuxer.leftOut())
        others += (others.empty() ? "" : ", ") + kind;
    if (!others.empty()) notes.push_back(name + ": only the video is carried over, not " + others);
    return notes;
}

void FrameReader::noteDamage(std::vector<std::string>* notes) const {
    const char* name = mDemuxer.name().c_str();
    if (mDamage.skippedPackets > 0) {
        notes->push_back(text("%s: is damaged; %lld packets could not be decoded and are left out",
                              name, static_cast<long long>(mDamage.skippedPackets)));
    }
    // Some decoders mark the frames that they patched up, some only say so.
    const DecoderErrors errors = decoderErrors();
    if (mDamage.patchedFrames > 0 || (errors.count > 0 && mDamage.skippedPackets == 0)) {
        const std::string first = errors.count > 0 ? "; it said first: " + errors.first : "";
        notes->push_back(text("%s: is damaged, and the decoder patched it up, with %lld errors%s",
                              name, static_cast<long long>(errors.count), first.c_str()));
    }
    if (mDamage.mendedTimes > 0) {
        notes->push_back(
            text("%s: %lld frames were not shown later than the one before; their "
                 "times are mended",
                 name, static_cast<long long>(mDamage.mendedTimes)));
    }
    if (!mDamage.ending.empty()) notes->push_back(mDamage.ending);
}

void FrameReader::noteLosses(std::vector<std::string>* notes) const {
    const std::string& name = mDemuxer.name();
    const auto pixels = av_pix_fmt_desc_get_id(mSourcePixels);
    const int bits = mSourcePixels->comp[0].depth;
    const bool hasColor = mSourcePixels->nb_components > 2 || pixels == AV_PIX_FMT_PAL8;
    const bool is420 = mSourcePixels->log2_chroma_w == 1 && mSourcePixels->log2_chroma_h == 1;
    if (mInterlaced) notes->push_back(name + ": is interlaced; its fields are made into frames");
    if ((mSourcePixels->flags & AV_PIX_FMT_FLAG_ALPHA) != 0) {
        notes->push_back(name + ": its transparency (alpha) is left out");
    }
    if (hasColor && !is420) {
        notes->push_back(name + ": its colour goes from " + mSourcePixels->name + " to 4:2:0");
    }
    if (bits > kMaxBits) notes->push_back(text("%s: %d bits become 10", name.c_str(), bits));
}

}  // namespace plexa
