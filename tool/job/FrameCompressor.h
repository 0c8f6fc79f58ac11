// Delivers decoded frames as a device's decoder does: in compressed graphics buffers.
#pragma once

#include <APipeConverter.h>

#include <memory>

#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/**
 * Puts a frame into a linear graphics buffer of its own and has the platform's compute converter
 * compress it from there.
 *
 * Threading: reentrant.
 */
class FrameCompressor {
public:
    /** For planar frames of this size with 8 or 10 bits; again for others. */
    Status open(int width, int height, int bitDepth);

    /** Fills `destination`, a buffer of allocateCompressed(), with `frame`. */
    Status compress(const AVFrame& frame, const android::sp<android::APipeBuffer>& destination);

private:
    android::sp<android::APipeBuffer> mLinear;
    std::shared_ptr<android::APipeConverter> mConverter;
};

}  // namespace plexa
