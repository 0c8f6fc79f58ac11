// A chain of pass-through elements in GStreamer: a queue, so a thread, and an identity per stage.
#pragma once

#include "support/gst_pipeline.h"

namespace plexa::bench {

/// Threading: reentrant.
class PassThroughPeer {
public:
    PassThroughPeer(int stages, int inFlight);
    ~PassThroughPeer();

    PassThroughPeer(const PassThroughPeer&) = delete;
    PassThroughPeer& operator=(const PassThroughPeer&) = delete;

    /// False when the pipeline stops short.
    bool run(int frames);
    /// Send one frame through, and wait for one that has come out.
    bool feed();
    bool hear();

private:
    GstBuffer* frame();

    GstPipeline mPipeline;
    GstBufferPool* mPool;
};

}  // namespace plexa::bench
