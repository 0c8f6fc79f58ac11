// Opens an input and gives the packets of its video stream.
#include "media/Demuxer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <map>

#include "base/Text.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

constexpr const char* kYuv4Mpeg = "yuv4mpegpipe";

// Paths that exist are taken as files, also where FFmpeg would read "name:" as a protocol. Standard
// input that is a file can be read in any order, unlike a pipe.
std::string urlOf(const std::string& path) {
    struct stat info {};
    if (path == "-") {
        const bool isFile = fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode);
        return isFile ? "file:/dev/stdin" : "pipe:0";
    }
    return stat(path.c_str(), &info) == 0 ? "file:" + path : path;
}

std::string valueOf(const AVDictionary* tags, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(tags, key, nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

std::string kindOf(const AVStream& stream) {
    if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) return "attached picture";
    const char* type = av_get_media_type_string(stream.codecpar->codec_type);
    return std::string(type != nullptr ? type : "unknown") + " stream";
}

}  // namespace

Status Demuxer::open(const std::string& path) {
    mName = path == "-" ? "standard input" : path;
    Status status = openContainer(path);
    return status.isOk() ? chooseStream() : status;
}

Status Demuxer::openContainer(const std::string& path) {
    std::error_code missing;
    if (std::filesystem::is_directory(path, missing)) {
        return Status::error(mName + ": is a directory");
    }
    AVFormatContext* input = nullptr;
    int result = avformat_open_input(&input, urlOf(path).c_str(), nullptr, nullptr);
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
    const std::string cause = avErrorWithLog(error);
    const bool isPipe = mInput == nullptr || mInput->pb == nullptr || mInput->pb->seekable == 0;
    const bool needsSeeking = isPipe && (cause.find("moov") != std::string::npos ||
                                         cause.find("partial file") != std::string::npos);
    return Status::error(mName + ": cannot be read: " + cause +
                         (needsSeeking ? "; a pipe cannot go back: name the file itself" : ""));
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

std::string Demuxer::fileTag(const char* key) const {
    return valueOf(mInput->metadata, key);
}

std::string Demuxer::streamTag(const char* key) const {
    return valueOf(mStream->metadata, key);
}

std::vector<std::string> Demuxer::leftOut() const {
    std::map<std::string, int> kinds;
    for (unsigned i = 0; i < mInput->nb_streams; ++i) {
        const AVStream* stream = mInput->streams[i];
        if (stream != mStream) ++kinds[kindOf(*stream)];
    }
    if (mInput->nb_chapters > 0) kinds["chapter"] = static_cast<int>(mInput->nb_chapters);
    std::vector<std::string> result;
    for (const auto& [kind, count] : kinds)
        result.push_back(text("%d %s%s", count, kind.c_str(), count > 1 ? "s" : ""));
    return result;
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
