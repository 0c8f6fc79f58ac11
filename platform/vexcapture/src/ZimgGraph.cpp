// Building and running filter graphs.
#define LOG_TAG "ZelFrameCaptureLayer"

#include "ZimgGraph.h"

#include <utils/Log.h>

#include <array>
#include <cstddef>

namespace android::capture {
namespace {

status_t logFailure(const char* what) {
    std::array<char, 256> message = {};
    const zimg_error_code_e code = zimg_get_last_error(message.data(), message.size());
    zimg_clear_last_error();
    ALOGE("%s: error %d, %s", what, code, message.data());
    return code == ZIMG_ERROR_OUT_OF_MEMORY ? NO_MEMORY : UNKNOWN_ERROR;
}

}  // namespace

zimg_image_format ZimgGraph::makeFormat() {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    return format;
}

status_t ZimgGraph::build(const zimg_image_format& source, const zimg_image_format& destination,
                          const zimg_graph_builder_params& params) {
    mWorkMemory.reset();
    mGraph.reset(zimg_filter_graph_build(&source, &destination, &params));
    if (mGraph == nullptr) return logFailure("no filter graph");
    size_t bytes = 0;
    if (zimg_filter_graph_get_tmp_size(mGraph.get(), &bytes) != ZIMG_ERROR_SUCCESS) {
        return logFailure("no size of working memory");
    }
    mWorkMemory = host::allocateForZimg(bytes);
    if (mWorkMemory != nullptr) return OK;
    ALOGE("no %zu bytes of working memory", bytes);
    return NO_MEMORY;
}

status_t ZimgGraph::process(const PlanarImage& source, const PlanarImage& destination) const {
    zimg_image_buffer_const from = {.version = ZIMG_API_VERSION, .plane = {}};
    zimg_image_buffer to = {.version = ZIMG_API_VERSION, .plane = {}};
    for (size_t i = 0; i < PlanarImage::kPlanes; ++i) {
        const auto& [fromData, fromStride] = source.plane(i);
        from.plane[i] = {.data = fromData,
                         .stride = static_cast<ptrdiff_t>(fromStride),
                         .mask = ZIMG_BUFFER_MAX};
        const auto& [toData, toStride] = destination.plane(i);
        to.plane[i] = {
            .data = toData, .stride = static_cast<ptrdiff_t>(toStride), .mask = ZIMG_BUFFER_MAX};
    }
    const zimg_error_code_e code = zimg_filter_graph_process(
        mGraph.get(), &from, &to, mWorkMemory.get(), nullptr, nullptr, nullptr, nullptr);
    return code == ZIMG_ERROR_SUCCESS ? OK : logFailure("filter graph failed");
}

}  // namespace android::capture
