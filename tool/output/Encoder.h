// Sets up one of libavcodec's video encoders.
#pragma once

#include "base/Status.h"
#include "media/AvHandles.h"
#include "media/VideoFormat.h"

namespace plexa {

/**
 * Opens an encoder of constant quality for frames of this format: H.264 for 8 bits, HEVC with its
 * HDR metadata for 10. `withGlobalHeader`: the container keeps the stream's parameter sets itself.
 * The error text names no file. Threading: reentrant.
 */
Status openEncoder(const VideoFormat& format, bool withGlobalHeader, CodecPtr* encoder);

}  // namespace plexa
