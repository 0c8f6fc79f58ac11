// A chain of FFmpeg's video filters.
#include "media/FilterGraph.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include "base/Text.h"
#include "media/AvMessages.h"

namespace plexa {
namespace {

AVFilterInOut* endOf(const char* name, AVFilterContext* filter) {
    AVFilterInOut* end = avfilter_inout_alloc();
    end->name = av_strdup(name);
    end->filter_ctx = filter;
    return end;
}

}  // namespace

Status FilterGraph::open(const AVFrame& first, const Settings& settings) {
    mWidth = first.width;
    mHeight = first.height;
    mPixels = first.format;
    mGraph.reset(avfilter_graph_alloc());
    mGraph->scale_sws_opts = av_strdup(settings.conversion.c_str());
    const AVRational aspect = first.sample_aspect_ratio;
    const std::string input =
        text("video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:frame_rate=%d/%d:pixel_aspect=%d/%d",
             mWidth, mHeight, mPixels, settings.timeBase.num, settings.timeBase.den,
             settings.frameRate.num, settings.frameRate.den, aspect.num, aspect.den);
    int result = avfilter_graph_create_filter(&mSource, avfilter_get_by_name("buffer"), "in",
                                              input.c_str(), nullptr, mGraph.get());
    if (result >= 0) {
        result = avfilter_graph_create_filter(&mSink, avfilter_get_by_name("buffersink"), "out",
                                              nullptr, nullptr, mGraph.get());
    }
    return result >= 0 ? connect(settings.filters) : avStatus(result);
}

Status FilterGraph::connect(const std::string& filters) {
    AVFilterInOut* start = endOf("in", mSource);
    AVFilterInOut* end = endOf("out", mSink);
    int result = avfilter_graph_parse_ptr(mGraph.get(), filters.c_str(), &end, &start, nullptr);
    avfilter_inout_free(&start);
    avfilter_inout_free(&end);
    if (result >= 0) result = avfilter_graph_config(mGraph.get(), nullptr);
    return avStatus(result);
}

bool FilterGraph::takes(const AVFrame& frame) const {
    return frame.width == mWidth && frame.height == mHeight && frame.format == mPixels;
}

Status FilterGraph::send(AVFrame* frame) {
    return avStatus(av_buffersrc_add_frame(mSource, frame));
}

Status FilterGraph::receive(AVFrame* frame, Result* result) {
    av_frame_unref(frame);
    const int code = av_buffersink_get_frame(mSink, frame);
    *result = code == AVERROR(EAGAIN) ? Result::NeedsInput
              : code == AVERROR_EOF   ? Result::End
                                      : Result::Frame;
    return *result == Result::Frame ? avStatus(code) : Status();
}

AVRational FilterGraph::timeBase() const {
    return av_buffersink_get_time_base(mSink);
}

AVRational FilterGraph::frameRate() const {
    return av_buffersink_get_frame_rate(mSink);
}

}  // namespace plexa
