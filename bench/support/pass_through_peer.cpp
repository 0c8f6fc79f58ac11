// A chain of pass-through elements in GStreamer: a queue, so a thread, and an identity per stage.
#include "support/pass_through_peer.h"

#include <string>

namespace plexa::bench {

namespace {

constexpr char kCaps[] = "video/x-raw,format=NV12,width=16,height=16,framerate=30/1";
constexpr guint kFrameBytes = 16 * 16 * 3 / 2;

std::string elements(int stages) {
    std::string description;
    for (int i = 0; i < stages; ++i)
        description += std::string(i == 0 ? "" : " ! ") +
                       "queue max-size-buffers=8 max-size-bytes=0 max-size-time=0 ! identity";
    return description;
}

// Frames come from a pool there too.
GstBufferPool* startPool() {
    GstBufferPool* pool = gst_buffer_pool_new();
    GstStructure* config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, nullptr, kFrameBytes, 16, 0);
    gst_buffer_pool_set_config(pool, config);
    gst_buffer_pool_set_active(pool, TRUE);
    return pool;
}

}  // namespace

PassThroughPeer::PassThroughPeer(int stages, int inFlight)
    : mPipeline(kCaps, elements(stages), inFlight), mPool(startPool()) {}

PassThroughPeer::~PassThroughPeer() {
    gst_buffer_pool_set_active(mPool, FALSE);
    gst_object_unref(mPool);
}

bool PassThroughPeer::run(int frames) {
    return mPipeline.run(frames, [this] { return frame(); });
}

bool PassThroughPeer::feed() {
    return mPipeline.push(frame());
}

bool PassThroughPeer::hear() {
    return mPipeline.pull();
}

GstBuffer* PassThroughPeer::frame() {
    GstBuffer* buffer = nullptr;
    gst_buffer_pool_acquire_buffer(mPool, &buffer, nullptr);
    return buffer;
}

}  // namespace plexa::bench
