// Delivers decoded frames as a device's decoder does: in compressed graphics buffers.
#pragma once

#include <APipeConverter.h>

#include <memory>

#include "media/FrameLoader.h"

namespace plexa {

/**
 * Puts a frame into a linear graphics buffer of its own and has the platform's compute converter
 * compress it from there.
 *
 * Threading: reentrant.
 */
class FrameCompressor {
public:
    /** For frames of this format. */
    explicit FrameCompressor(const VideoFormat& format) : mFormat(format), mLoader(format) {}

    Status open();

    /** Fills `destination`, a buffer of allocateCompressed(), with `frame`. */
    Status compress(const AVFrame& frame, const android::sp<android::APipeBuffer>& destination);

private:
    VideoFormat mFormat;
    FrameLoader mLoader;
    android::sp<android::APipeBuffer> mLinear;
    std::shared_ptr<android::APipeConverter> mConverter;
};

}  // namespace plexa
