// Opens an input and gives the packets of its video stream.
#include "media/Demuxer.h"

#include <sys/stat.h>

#include <cstring>

#include "base/Text.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

constexpr const char* kYuv4Mpeg = "yuv4mpegpipe";

int onInterruptCheck(void* cancellation) {
    return static_cast<const Cancellation*>(cancellation)->isRequested() ? 1 : 0;
}

// Paths that exist are taken as files, also where FFmpeg would read "name:" as a protocol.
std::string urlOf(const std::string& path) {
    struct stat ignored {};
    return stat(path.c_str(), &ignored) == 0 ? "file:" + path : path;
}

bool isPipe(const std::string& path) {
    struct stat info {};
    return path == "-" || (stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode));
}

bool isDirectory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

Demuxer::Demuxer(const Cancellation& cancellation)
    : mCancellation(cancellation), mPipe(cancellation) {}

Status Demuxer::open(const std::string& path) {
    mName = path == "-" ? "standard input" : path;
    Status status = openContainer(path);
    return status.isOk() ? chooseStream() : status;
}

Status Demuxer::openContainer(const std::string& path) {
    if (isDirectory(path)) return Status::error(mName + ": is a directory");
    AVFormatContext* input = avformat_alloc_context();
    input->interrupt_callback = {onInterruptCheck, const_cast<Cancellation*>(&mCancellation)};
    if (isPipe(path)) {
        Status status = mPipe.open(path);
        if (!status.isOk()) {
            avformat_free_context(input);
            return status;
        }
        input->pb = mPipe.io();
    }
    const AVInputFormat* format = path == "-" ? av_find_input_format(kYuv4Mpeg) : nullptr;
    int result = avformat_open_input(&input, urlOf(path).c_str(), format, nullptr);
    if (result < 0) return unreadable(result);
    mInput.reset(input);
    // The demuxer of ANSI art takes plain text for moving pictures.
    if (std::strcmp(input->iformat->name, "tty") == 0) {
        return Status::error(mName + ": is text, not video");
    }
    return {};
}

Status Demuxer::chooseStream() {
    takeDemuxerError();
    int result = avformat_find_stream_info(mInput.get(), nullptr);
    if (result < 0) return unreadable(result);
    mProbedToEnd = mInput->pb != nullptr && avio_feof(mInput->pb) != 0;
    result = av_find_best_stream(mInput.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (result < 0 || (mInput->streams[result]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        return Status::error(mName + ": has no video stream");
    }
    for (unsigned i = 0; i < mInput->nb_streams; ++i) {
        mInput->streams[i]->discard = AVDISCARD_ALL;
    }
    mStream = mInput->streams[result];
    mStream->discard = AVDISCARD_DEFAULT;
    return {};
}

Status Demuxer::unreadable(int error) const {
    return Status::error(mName + ": cannot be read: " + avErrorWithLog(error));
}

Status Demuxer::read(AVPacket* packet) {
    for (;;) {
        av_packet_unref(packet);
        if (!mProbedToEnd) takeDemuxerError();
        int result = av_read_frame(mInput.get(), packet);
        if (result == AVERROR_EOF) return checkEnd();
        if (result < 0) return unreadable(result);
        if (packet->stream_index != mStream->index) continue;
        ++mPackets;
        mLastPacketEnd = packet->pos < 0 ? -1 : packet->pos + packet->size;
        return {};
    }
}

Status Demuxer::checkEnd() const {
    const int indexed = avformat_index_get_entries_count(mStream);
    if (indexed > mPackets) {
        return Status::error(text("%s: is cut short after %lld of %d frames", mName.c_str(),
                                  static_cast<long long>(mPackets), indexed));
    }
    if (const std::string complaint = takeDemuxerError(); !complaint.empty()) {
        return Status::error(mName + ": is cut short: " + complaint);
    }
    // A YUV4MPEG stream has no index; its last frame, cut short, would be left out silently.
    const bool isYuv4Mpeg = std::strcmp(mInput->iformat->name, kYuv4Mpeg) == 0;
    if (isYuv4Mpeg && mLastPacketEnd >= 0 && avio_tell(mInput->pb) > mLastPacketEnd) {
        const long long number = mPackets + 1;
        return Status::error(text("%s: ends inside frame %lld", mName.c_str(), number));
    }
    return {};
}

AVRational Demuxer::frameRate() const {
    return av_guess_frame_rate(mInput.get(), mStream, nullptr);
}

AVRational Demuxer::sampleAspectRatio(AVFrame* frame) const {
    return av_guess_sample_aspect_ratio(mInput.get(), mStream, frame);
}

int64_t Demuxer::expectedFrames() const {
    if (mStream->nb_frames > 0) return mStream->nb_frames;
    const AVRational rate = frameRate();
    if (rate.num <= 0) return 0;
    if (mStream->duration > 0) {
        return av_rescale_q(mStream->duration, mStream->time_base, av_inv_q(rate));
    }
    if (mInput->duration > 0) {
        return av_rescale_q(mInput->duration, {1, AV_TIME_BASE}, av_inv_q(rate));
    }
    return 0;
}

}  // namespace plexa
