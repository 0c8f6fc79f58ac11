// The exact samples of each frame as a YUV4MPEG stream.
#include "output/Y4mSink.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "base/Text.h"
#include "media/PlanarFrame.h"

namespace plexa {
namespace {

constexpr std::string_view kFrameMark = "FRAME\n";
constexpr AVRational kRateIfUnknown = {25, 1};

const char* chromaTag(const VideoFormat& format) {
    if (format.bitDepth > 8) return "420p10 XYSCSS=420P10";
    switch (format.chromaLocation) {
        case AVCHROMA_LOC_CENTER:
            return "420jpeg";
        case AVCHROMA_LOC_TOPLEFT:
            return "420paldv";
        default:
            return "420mpeg2";
    }
}

const char* rangeTag(AVColorRange range) {
    switch (range) {
        case AVCOL_RANGE_MPEG:
            return " XCOLORRANGE=LIMITED";
        case AVCOL_RANGE_JPEG:
            return " XCOLORRANGE=FULL";
        default:
            return "";
    }
}

}  // namespace

std::string Y4mSink::header() const {
    const AVRational aspect =
        mFormat.sampleAspectRatio.num > 0 ? mFormat.sampleAspectRatio : AVRational{0, 0};
    return text("YUV4MPEG2 W%d H%d F%d:%d Ip A%d:%d C%s%s\n", mFormat.width, mFormat.height,
                mRate.num, mRate.den, aspect.num, aspect.den, chromaTag(mFormat),
                rangeTag(mFormat.range));
}

Status Y4mSink::open(const VideoFormat& format, const VideoFormat& /*source*/) {
    mFormat = format;
    mRate = format.frameRate.num > 0 ? format.frameRate : kRateIfUnknown;
    Status status = mFile.create(mPath);
    if (!status.isOk()) return status;
    const int size =
        av_image_get_buffer_size(planarFormat(format.bitDepth), format.width, format.height, 1);
    mFrame.resize(kFrameMark.size() + static_cast<size_t>(size));
    std::copy(kFrameMark.begin(), kFrameMark.end(), mFrame.begin());
    const std::string line = header();
    return mFile.write(line.data(), line.size());
}

Status Y4mSink::write(const FinishedFrame& frame) {
    checkTime(frame.time);
    const SemiPlanarPicture picture = pixelsOf(frame.buffer);
    AVFrame planar{};
    av_image_fill_arrays(planar.data, planar.linesize, mFrame.data() + kFrameMark.size(),
                         planarFormat(picture.bitDepth), picture.width, picture.height, 1);
    unpack(picture, &planar);
    ++mFrames;
    return mFile.write(mFrame.data(), mFrame.size());
}

void Y4mSink::checkTime(FrameTime time) {
    const AVRational frame = av_inv_q(mRate);
    const int64_t expected = av_rescale_q(mFrames, frame, mFormat.timeBase);
    const int64_t duration = av_rescale_q(1, frame, mFormat.timeBase);
    mLosesTimes = mLosesTimes || 2 * std::abs(time.pts - expected) > duration;
}

std::vector<std::string> Y4mSink::notes() const {
    std::vector<std::string> notes;
    const auto add = [&](const char* words) { notes.push_back(mFile.name() + words); };
    if (mLosesTimes) {
        add(": YUV4MPEG has a fixed frame rate; the frames' own presentation times are not kept");
    }
    if (mFormat.primaries != AVCOL_PRI_UNSPECIFIED || mFormat.transfer != AVCOL_TRC_UNSPECIFIED ||
        mFormat.matrix != AVCOL_SPC_UNSPECIFIED) {
        add(": YUV4MPEG has no word for matrix, transfer and primaries; the input's are not kept");
    }
    if (av_frame_get_side_data(mFormat.first.get(), AV_FRAME_DATA_MASTERING_DISPLAY_METADATA) ||
        av_frame_get_side_data(mFormat.first.get(), AV_FRAME_DATA_CONTENT_LIGHT_LEVEL)) {
        add(": YUV4MPEG has no place for HDR metadata; the input's is not kept");
    }
    if (!mFormat.title.empty() || !mFormat.language.empty()) {
        add(": YUV4MPEG has no place for title and language; the input's are not kept");
    }
    return notes;
}

}  // namespace plexa
