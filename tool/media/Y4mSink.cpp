// The exact samples of each frame as a YUV4MPEG stream.
#include "media/Y4mSink.h"

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

Status Y4mSink::open(const VideoFormat& format) {
    mFormat = format;
    mRate = format.frameRate.num > 0 ? format.frameRate : kRateIfUnknown;
    Status status = mFile.create(mPath);
    if (!status.isOk()) return status;
    const int size =
        av_image_get_buffer_size(planarFormat(format.bitDepth), format.width, format.height, 1);
    mFrame.resize(kFrameMark.size() + static_cast<size_t>(size));
    std::copy(kFrameMark.begin(), kFrameMark.end(), mFrame.begin());
    const std::string line = header();
    int result = mFile.write(line.data(), line.size());
    return result < 0 ? mFile.error(-result) : Status();
}

Status Y4mSink::write(const SemiPlanarPicture& picture, FrameTime time) {
    checkTime(time);
    AVFrame planar{};
    av_image_fill_arrays(planar.data, planar.linesize, mFrame.data() + kFrameMark.size(),
                         planarFormat(picture.bitDepth), picture.width, picture.height, 1);
    unpack(picture, &planar);
    ++mFrames;
    int result = mFile.write(mFrame.data(), mFrame.size());
    return result < 0 ? mFile.error(-result) : Status();
}

void Y4mSink::checkTime(FrameTime time) {
    const AVRational frame = av_inv_q(mRate);
    const int64_t expected = av_rescale_q(mFrames, frame, mFormat.timeBase);
    const int64_t duration = av_rescale_q(1, frame, mFormat.timeBase);
    mLosesTimes = mLosesTimes || 2 * std::abs(time.pts - expected) > duration;
}

std::vector<std::string> Y4mSink::warnings() const {
    std::vector<std::string> result;
    if (mLosesTimes) {
        result.push_back(mFile.name() +
                         ": YUV4MPEG has a fixed frame rate; the frames' own "
                         "presentation times are not kept");
    }
    if (mFormat.displayMatrix) {
        result.push_back(mFile.name() + ": the input's rotation is not carried over");
    }
    return result;
}

}  // namespace plexa
