// The same frames through GStreamer: a queue, so a thread, in front of each stage, and videoscale.
#pragma once

#include "support/frames.h"
#include "support/gst_pipeline.h"

namespace plexa::bench {

/// queue, videoscale (bilinear, one thread), queue. Frames are handed over as they lie in memory,
/// without a copy.
///
/// Threading: reentrant.
class VideoscalePeer {
public:
    VideoscalePeer(const Depth& depth, Size source, Size target, Buffers frames);

    /// False when the pipeline stops short.
    bool run(int frames);

private:
    GstBuffer* wrapNext();

    bool mIsNv12;
    Size mSource;
    Buffers mFrames;
    size_t mNextFrame = 0;
    GstPipeline mPipeline;
};

}  // namespace plexa::bench
