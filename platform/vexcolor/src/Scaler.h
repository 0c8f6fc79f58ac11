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

    // Null, after an error log, without a kernel or memory for its samples; bad_alloc without
    // memory for objects. The format is linear and the same on both sides.
    static std::unique_ptr<Scaler> make(FrameSize from, FrameSize to, FrameFormat format);

    // False after an error log with the cause.
    bool scale(const Buffer& input, const Buffer& output);

private:
    Scaler(FrameSize from, FrameSize to, FrameFormat format);

    const FrameBuffer mInput;
    const FrameBuffer mOutput;
    std::array<std::unique_ptr<PlaneScaler>, 2> mPlanes;  // luma, chroma
};

}  // namespace cl
