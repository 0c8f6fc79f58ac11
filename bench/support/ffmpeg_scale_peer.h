// The same frames through FFmpeg's scale filter, on the caller's thread.
#pragma once

#include <memory>
#include <vector>

#include "support/frames.h"

struct AVFilterContext;
struct AVFilterGraph;
struct AVFrame;

namespace plexa::bench {

/// buffer, scale (bilinear), buffersink, with one thread. Frames are handed over as they lie in
/// memory, without a copy.
///
/// Threading: reentrant.
class FfmpegScalePeer {
public:
    FfmpegScalePeer(const Depth& depth, Size from, Size to, Buffers frames);

    bool run(int frames);

private:
    struct Free {
        void operator()(AVFilterGraph* graph) const;
        void operator()(AVFrame* frame) const;
    };
    using Frame = std::unique_ptr<AVFrame, Free>;

    Frame wrap(const Planes& planes, Size size, int pixelFormat) const;

    Buffers mMemory;
    std::vector<Frame> mFrames;
    Frame mScaled;
    size_t mNext = 0;
    std::unique_ptr<AVFilterGraph, Free> mGraph;
    AVFilterContext* mSource = nullptr;
    AVFilterContext* mSink = nullptr;
};

}  // namespace plexa::bench
