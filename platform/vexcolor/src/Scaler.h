// Scaler: what a handle of the scaler's entry points points at.
#pragma once

#include <ui/GraphicBuffer.h>

#include <array>
#include <memory>

#include "FrameBuffer.h"
#include "FrameFormat.h"
#include "PlaneScaler.h"

namespace cl {

// Checks buffers and gives their planes to a PlaneScaler each. Threading: reentrant.
class Scaler {
public:
    using Buffer = android::sp<android::GraphicBuffer>;

    // The format is linear and the same on both sides. Throws bad_alloc.
    Scaler(FrameSize from, FrameSize to, FrameFormat format);

    // False after an error log with the cause.
    bool scale(const Buffer& input, const Buffer& output);

private:
    const FrameBuffer mInput;
    const FrameBuffer mOutput;
    std::array<std::unique_ptr<PlaneScaler>, 2> mPlanes;  // luma, chroma
};

}  // namespace cl
