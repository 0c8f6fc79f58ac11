// Scaler: checks, then plane by plane.
#define LOG_TAG "CLScaler"
#include "Scaler.h"

#include <log/log.h>

namespace cl {

Scaler::Scaler(FrameSize from, FrameSize to, FrameFormat format)
    : mInput{.tag = LOG_TAG, .role = "input", .format = format, .size = from},
      mOutput{.tag = LOG_TAG, .role = "output", .format = format, .size = to} {
    const uint32_t bytes = format.bytesPerSample;
    mPlanes = {PlaneScaler::make(from, to, {.bytesPerSample = bytes, .samplesPerUnit = 1}),
               PlaneScaler::make(from.chroma(), to.chroma(),
                                 {.bytesPerSample = bytes, .samplesPerUnit = 2})};
}

bool Scaler::scale(const Buffer& input, const Buffer& output) {
    if (input != nullptr && input == output) {
        ALOGE("scale: input and output are one buffer");
        return false;
    }
    const auto from = mInput.openLinear(input);
    const auto to = mOutput.openLinear(output);
    if (!from || !to) return false;
    for (size_t plane = 0; plane < mPlanes.size(); ++plane) {
        if (!mPlanes[plane]->scale((*from)[plane], (*to)[plane])) {
            ALOGE("scale: the kernel failed");
            return false;
        }
    }
    return true;
}

}  // namespace cl
