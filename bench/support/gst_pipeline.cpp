// A GStreamer pipeline between an appsrc and an appsink, driven with so many buffers in flight.
#include "support/gst_pipeline.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

#include <cstdio>
#include <cstdlib>

namespace plexa::bench {

namespace {

constexpr GstClockTime kDeadline = 120 * GST_SECOND;

}  // namespace

GstPipeline::GstPipeline(const std::string& caps, const std::string& elements, int inFlight)
    : mInFlight(inFlight) {
    gst_init(nullptr, nullptr);
    const std::string description = "appsrc name=src format=time caps=" + caps + " ! " + elements +
                                    " ! appsink name=sink sync=false";
    GError* error = nullptr;
    mPipeline = gst_parse_launch(description.c_str(), &error);
    if (error != nullptr) {
        std::fprintf(stderr, "%s: %s\n", description.c_str(), error->message);
        std::exit(1);
    }
    mAppsrc = gst_bin_get_by_name(GST_BIN(mPipeline), "src");
    mAppsink = gst_bin_get_by_name(GST_BIN(mPipeline), "sink");
    gst_element_set_state(mPipeline, GST_STATE_PLAYING);
}

GstPipeline::~GstPipeline() {
    gst_element_set_state(mPipeline, GST_STATE_NULL);
    gst_object_unref(mAppsrc);
    gst_object_unref(mAppsink);
    gst_object_unref(mPipeline);
}

bool GstPipeline::run(int buffers, const std::function<GstBuffer*()>& next) {
    int pushed = 0;
    for (int pulled = 0; pulled < buffers; ++pulled) {
        for (; pushed < buffers && pushed < pulled + mInFlight; ++pushed) {
            if (!push(next())) return false;
        }
        if (!pull()) return false;
    }
    return true;
}

bool GstPipeline::push(GstBuffer* buffer) {
    return gst_app_src_push_buffer(GST_APP_SRC(mAppsrc), buffer) == GST_FLOW_OK;
}

bool GstPipeline::pull() {
    GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(mAppsink), kDeadline);
    if (sample == nullptr) return false;
    gst_sample_unref(sample);
    return true;
}

}  // namespace plexa::bench
