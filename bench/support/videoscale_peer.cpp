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

std::string caps(Size size) {
    return "video/x-raw,format=NV12,width=" + std::to_string(size.width) +
           ",height=" + std::to_string(size.height) + ",framerate=30/1";
}

std::string elements(Size target) {
    return std::string(kQueue) + " ! videoscale method=bilinear n-threads=1 ! " + caps(target) +
           " ! " + kQueue;
}

}  // namespace

VideoscalePeer::VideoscalePeer(Size source, Size target, Buffers frames)
    : mSource(source),
      mFrames(std::move(frames)),
      mPipeline(caps(source), elements(target), kInFlight) {}

bool VideoscalePeer::run(int frames) {
    return mPipeline.run(frames, [this] { return wrapNext(); });
}

GstBuffer* VideoscalePeer::wrapNext() {
    const sp<APipeBuffer>& frame = mFrames[mNextFrame++ % mFrames.size()];
    uint8_t* luma = nullptr;
    uint8_t* cb = nullptr;
    uint8_t* cr = nullptr;
    frame->getYCbCr(&luma, &cb, &cr);
    const auto size = static_cast<gsize>(frame->getSize());
    GstBuffer* buffer = gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, luma, size, 0, size,
                                                    nullptr, nullptr);
    gsize offsets[GST_VIDEO_MAX_PLANES] = {0, static_cast<gsize>(cb - luma)};
    gint strides[GST_VIDEO_MAX_PLANES] = {frame->getStride(), frame->getStride()};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_NV12,
                                   static_cast<guint>(mSource.width),
                                   static_cast<guint>(mSource.height), 2, offsets, strides);
    return buffer;
}

}  // namespace plexa::bench
