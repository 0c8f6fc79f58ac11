// A converter that lets the platform's frame-capture library render a picture.
#pragma once

#include "APipeConverter.h"

namespace android {

class ZelFrameCaptureLayer;

/// APipeConverter over libvexcapture.so: a frame of any colour format, SDR or HDR, into an RGBA
/// picture of the output's size. No pixel is touched here: each frame crosses as a pair of graphics
/// buffers, and the library's status comes back as it is.
///
/// Threading: as APipeConverter.
class PLEXA_EXPORT APipeREConverter : public APipeConverter {
public:
    APipeREConverter();
    ~APipeREConverter() override;

    APipeREConverter(const APipeREConverter&) = delete;
    APipeREConverter& operator=(const APipeREConverter&) = delete;

    /// Makes the library's object and initialises it. `msg` is not read.
    status_t init(const sp<AMessage>& msg) override;

    /// Renders the visible part of input. Read from its metadata, all of it optional: "crop" (a
    /// rect, right and bottom exclusive; without it the whole buffer, after a warning in the log),
    /// "dataSpace" (int32, 0 without it), and the buffers "hdr-static-info" and "hdr10-plus-info",
    /// which the library gets as they are, null ones excepted. The output is Rgba8888.
    ///
    /// @return the library's status; UNKNOWN_ERROR before init, or when a buffer is not in graphics
    ///         memory.
    status_t convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) override;

    void reset() override;

private:
    sp<ZelFrameCaptureLayer> mFrameCaptureLayer;
};

}  // namespace android
