// A GStreamer pipeline between an appsrc and an appsink, driven with so many buffers in flight.
#pragma once

#include <gst/gst.h>

#include <functional>
#include <string>

namespace plexa::bench {

/// Threading: reentrant.
class GstPipeline {
public:
    /// @param elements what lies between the two ends, as gst_parse_launch reads it.
    GstPipeline(const std::string& caps, const std::string& elements, int inFlight);
    ~GstPipeline();

    GstPipeline(const GstPipeline&) = delete;
    GstPipeline& operator=(const GstPipeline&) = delete;

    /// Pushes so many buffers made by next, never more than inFlight ahead of those pulled.
    /// False when the pipeline stops short.
    bool run(int buffers, const std::function<GstBuffer*()>& next);
    /// Push one buffer, which is taken over, and wait for one that has come through.
    bool push(GstBuffer* buffer);
    bool pull();

private:
    int mInFlight;
    GstElement* mPipeline = nullptr;
    GstElement* mAppsrc = nullptr;
    GstElement* mAppsink = nullptr;
};

}  // namespace plexa::bench
