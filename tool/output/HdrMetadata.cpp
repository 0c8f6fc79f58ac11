// The HDR metadata of a stream, as the platform passes it with a frame.
#include "output/HdrMetadata.h"

extern "C" {
#include <libavutil/hdr_dynamic_metadata.h>
#include <libavutil/mastering_display_metadata.h>
}

#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include "media/VideoFormat.h"

namespace plexa {
namespace {

// HDR10+ gives light in parts of this, cd/m2.
constexpr double kFullScaleLight = 10000;

void fill(const AVMasteringDisplayMetadata& display, android::host::HdrStaticInfo* info) {
    if (display.has_primaries != 0) {
        for (size_t i = 0; i < info->primaries.size(); ++i) {
            info->primaries[i] = {av_q2d(display.display_primaries[i][0]),
                                  av_q2d(display.display_primaries[i][1])};
        }
        info->whitePoint = {av_q2d(display.white_point[0]), av_q2d(display.white_point[1])};
    }
    if (display.has_luminance != 0) {
        info->maxLuminance = av_q2d(display.max_luminance);
        info->minLuminance = av_q2d(display.min_luminance);
    }
}

void fill(const AVContentLightMetadata& light, android::host::HdrStaticInfo* info) {
    info->maxContentLight = light.MaxCLL;
    info->maxFrameAverageLight = light.MaxFALL;
}

}  // namespace

void attachHdrMetadata(const AVFrame& frame, const android::sp<android::AMessage>& meta) {
    const auto* display =
        sideData<AVMasteringDisplayMetadata>(&frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    const auto* light = sideData<AVContentLightMetadata>(&frame, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
    android::host::HdrStaticInfo info;
    if (display != nullptr) fill(*display, &info);
    if (light != nullptr) fill(*light, &info);
    if (display != nullptr || light != nullptr) meta->setBuffer("hdr-static-info", info.toBlob());
    const auto* scene = sideData<AVDynamicHDRPlus>(&frame, AV_FRAME_DATA_DYNAMIC_HDR_PLUS);
    if (scene == nullptr || scene->num_windows < 1) return;
    android::host::Hdr10PlusInfo dynamic;
    for (size_t i = 0; i < dynamic.maxScl.size(); ++i) {
        dynamic.maxScl[i] = kFullScaleLight * av_q2d(scene->params[0].maxscl[i]);
    }
    meta->setBuffer("hdr10-plus-info", dynamic.toBlob());
}

}  // namespace plexa
