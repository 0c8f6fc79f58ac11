// The HDR metadata of a stream, as the platform passes it with a frame.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <media/stagefright/foundation/AMessage.h>

namespace plexa {

/**
 * Sets "hdr-static-info" and "hdr10-plus-info" in `meta`, each if there is side data for it: that
 * of the frame, or else, for the static part, that of the stream. Threading: reentrant.
 */
void attachHdrMetadata(const AVFrame& frame, const AVStream& stream,
                       const android::sp<android::AMessage>& meta);

}  // namespace plexa
