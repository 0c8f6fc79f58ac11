// The HDR metadata of a frame, as the platform passes it.
#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

#include <media/stagefright/foundation/AMessage.h>

namespace plexa {

/**
 * Sets "hdr-static-info" and "hdr10-plus-info" in `meta`, each if the frame has side data for it.
 * Threading: reentrant.
 */
void attachHdrMetadata(const AVFrame& frame, const android::sp<android::AMessage>& meta);

}  // namespace plexa
