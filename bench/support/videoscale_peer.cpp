// The same frames through GStreamer: a queue, so a thread, in front of each stage, and videoscale.
#include "support/videoscale_peer.h"

#include <gst/video/video.h>

#include <string>
#include <utility>

namespace plexa::bench {

using namespace android;

namespace {

constexpr int kInFlight = 8;
constexpr char kQueue[] = "queue max-size-buffers=4 max-size-bytes=0 max-size-time=0";

// Without a colorimetry the size decides on one, and two sizes may need a conversion of colours.
std::string caps(const Depth& depth, Size size) {
    const std::string format = depth.bytesPerSample == 1 ? "NV12" : "P010_10LE";
    return "video/x-raw,format=" + format + ",width=" + std::to_string(size.width) +
           ",height=" + std::to_string(size.height) + ",framerate=30/1,colorimetry=bt709";
}

std::string elements(const Depth& depth, Size target) {
    return std::string(kQueue) + " ! videoscale method=bilinear n-threads=1 ! " +
           caps(depth, target) + " ! " + kQueue;
}

}  // namespace

VideoscalePeer::VideoscalePeer(const Depth& depth, Size source, Size target, Buffers frames)
    : mIsNv12(depth.bytesPerSample == 1),
      mSource(source),
      mFrames(std::move(frames)),
      mPipeline(caps(depth, source), elements(depth, target), kInFlight) {}

bool VideoscalePeer::run(int frames) {
    return mPipeline.run(frames, [this] { return wrapNext(); });
}

GstBuffer* VideoscalePeer::wrapNext() {
    const sp<APipeBuffer>& frame = mFrames[mNextFrame++ % mFrames.size()];
    const Planes planes(frame->getGraphicBuffer());
    const auto size = static_cast<gsize>(frame->getSize());
    GstBuffer* buffer = gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, planes.y, size, 0,
                                                    size, nullptr, nullptr);
    const gint stride = planes.stride * (mIsNv12 ? 1 : 2);
    gsize offsets[GST_VIDEO_MAX_PLANES] = {0, static_cast<gsize>(planes.uv - planes.y)};
    gint strides[GST_VIDEO_MAX_PLANES] = {stride, stride};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE,
                                   mIsNv12 ? GST_VIDEO_FORMAT_NV12 : GST_VIDEO_FORMAT_P010_10LE,
                                   static_cast<guint>(mSource.width),
                                   static_cast<guint>(mSource.height), 2, offsets, strides);
    return buffer;
}

}  // namespace plexa::bench
