// A chain of FFmpeg's video filters.
#pragma once

#include <cstdint>

extern "C" {
#include <libavfilter/avfilter.h>
}

#include <memory>
#include <string>

#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/**
 * Frames of one size and pixel format go in at one end; what the filters make of them comes out at
 * the other, one frame, none or several for each. FFmpeg converts pixel formats in between where
 * two filters need it.
 *
 * Threading: reentrant; filters use threads of their own.
 */
class FilterGraph {
public:
    /** What the filters are not told by a frame. */
    struct Settings {
        std::string filters;     // as FFmpeg writes them; "null" passes frames on
        std::string conversion;  // options of the conversions between pixel formats
        AVRational timeBase{1, 1};
        AVRational frameRate{0, 1};
    };

    /** For frames like `first`. The error text names no file. */
    Status open(const AVFrame& first, const Settings& settings);

    /** Whether the graph was made for frames of this size and format. */
    bool takes(const AVFrame& frame) const;

    /** Takes over what `frame` holds; null is the end. */
    Status send(AVFrame* frame);

    enum class Result { Frame, NeedsInput, End };
    /** The next finished frame into `frame`, if `result` says so. */
    Status receive(AVFrame* frame, Result* result);

    /** Of the frames that come out. */
    AVRational timeBase() const;
    AVRational frameRate() const;

private:
    struct Free {
        void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
    };

    Status connect(const std::string& filters);

    std::unique_ptr<AVFilterGraph, Free> mGraph;
    AVFilterContext* mSource = nullptr;
    AVFilterContext* mSink = nullptr;
    int mWidth = 0;
    int mHeight = 0;
    int mPixels = AV_PIX_FMT_NONE;
};

}  // namespace plexa
