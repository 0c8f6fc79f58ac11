// What a stream of frames is, and when its frames are shown.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include <cstdint>
#include <memory>
#include <string>

namespace plexa {

/** Largest width and height that the tool takes or makes, in pixels. */
inline constexpr int kMaxSide = 16384;
/** Most pixels of a frame or picture: FFmpeg's libraries refuse twice as many. */
inline constexpr int64_t kMaxPixels = int64_t{1} << 27;

/** Whether a frame or picture of this size is more than the tool takes or makes. */
constexpr bool isTooLarge(int64_t width, int64_t height) {
    return width > kMaxSide || height > kMaxSide || width * height > kMaxPixels;
}

/** When a frame is shown and for how long, in units of its stream's VideoFormat::timeBase. */
struct FrameTime {
    int64_t pts = 0;
    int64_t duration = 0;  // 0 if not known
};

/** A stream of 4:2:0 frames: its size, sample depth, rate and the tags that players go by. */
struct VideoFormat {
    int width = 0;                       // pixels
    int height = 0;                      // pixels
    int bitDepth = 8;                    // 8 or 10
    AVRational timeBase{1, 1000000};     // seconds per unit of FrameTime
    AVRational frameRate{0, 1};          // frames per second; 0 if not known
    AVRational sampleAspectRatio{0, 1};  // width by height of a sample; 0 if not known
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVChromaLocation chromaLocation = AVCHROMA_LOC_UNSPECIFIED;
    std::shared_ptr<const AVFrame> first;  // no pixels: the side data of the first frame
    std::string title;                     // empty if there is none, like language
    std::string language;
};

/** What the first frame says of a stream beside its pixels; null if it does not. */
template <typename T>
const T* sideData(const AVFrame* frame, AVFrameSideDataType type) {
    const AVFrameSideData* data = frame != nullptr ? av_frame_get_side_data(frame, type) : nullptr;
    return data != nullptr ? reinterpret_cast<const T*>(data->data) : nullptr;
}

}  // namespace plexa
