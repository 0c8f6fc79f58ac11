// The same frames through FFmpeg's scale filter, on the caller's thread.
#include "support/ffmpeg_scale_peer.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace plexa::bench {

using namespace android;

namespace {

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "the scale filter: %s\n", what);
    std::exit(1);
}

std::string sizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

AVFilterContext* add(AVFilterGraph* graph, const char* filter, const std::string& options) {
    AVFilterContext* context = nullptr;
    require(avfilter_graph_create_filter(&context, avfilter_get_by_name(filter), filter,
                                         options.c_str(), nullptr, graph) >= 0,
            options.c_str());
    return context;
}

// The frame's memory outlives it.
AVBufferRef* borrow(const Planes& planes, size_t bytes) {
    return av_buffer_create(
        planes.y, bytes, [](void*, uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
}

}  // namespace

void FfmpegScalePeer::Free::operator()(AVFilterGraph* graph) const {
    avfilter_graph_free(&graph);
}

void FfmpegScalePeer::Free::operator()(AVFrame* frame) const {
    av_frame_free(&frame);
}

FfmpegScalePeer::FfmpegScalePeer(const Depth& depth, Size from, Size to, Buffers frames)
    : mMemory(std::move(frames)), mScaled(av_frame_alloc()), mGraph(avfilter_graph_alloc()) {
    const int pixelFormat = depth.bytesPerSample == 1 ? AV_PIX_FMT_NV12 : AV_PIX_FMT_P010LE;
    for (const sp<APipeBuffer>& buffer : mMemory)
        mFrames.push_back(wrap(Planes(buffer->getGraphicBuffer()), from, pixelFormat));
    mGraph->nb_threads = 1;
    mSource = add(mGraph.get(), "buffer",
                  "video_size=" + sizeText(from) + ":pix_fmt=" + std::to_string(pixelFormat) +
                      ":time_base=1/30:pixel_aspect=1/1");
    AVFilterContext* scale = add(mGraph.get(), "scale", "size=" + sizeText(to) + ":flags=bilinear");
    mSink = add(mGraph.get(), "buffersink", "");
    require(avfilter_link(mSource, 0, scale, 0) == 0 && avfilter_link(scale, 0, mSink, 0) == 0 &&
                avfilter_graph_config(mGraph.get(), nullptr) >= 0,
            "its graph could not be built");
}

FfmpegScalePeer::Frame FfmpegScalePeer::wrap(const Planes& planes, Size size,
                                             int pixelFormat) const {
    Frame frame(av_frame_alloc());
    const bool isNv12 = pixelFormat == AV_PIX_FMT_NV12;
    frame->format = pixelFormat;
    frame->width = size.width;
    frame->height = size.height;
    frame->data[0] = planes.y;
    frame->data[1] = planes.uv;
    frame->linesize[0] = frame->linesize[1] = planes.stride * (isNv12 ? 1 : 2);
    const auto chromaBytes = static_cast<size_t>(frame->linesize[1] * ((size.height + 1) / 2));
    frame->buf[0] = borrow(planes, static_cast<size_t>(planes.uv - planes.y) + chromaBytes);
    return frame;
}

bool FfmpegScalePeer::run(int frames) {
    for (int i = 0; i < frames; ++i) {
        AVFrame* frame = mFrames[mNext % mFrames.size()].get();
        frame->pts = static_cast<int64_t>(mNext++);
        if (av_buffersrc_write_frame(mSource, frame) < 0) return false;
        if (av_buffersink_get_frame(mSink, mScaled.get()) < 0) return false;
        av_frame_unref(mScaled.get());
    }
    return true;
}

}  // namespace plexa::bench
