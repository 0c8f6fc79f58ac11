// The graphics buffers that an engine works on.
#pragma once

#include <ui/GraphicBuffer.h>
#include <utils/StrongPointer.h>

#include "APipeBuffer.h"

namespace android {

/// What lies in an engine's input and output. A client or a pool brought them, so either may be
/// null or in other memory.
///
/// For the sources of this library only: it is not exported.
///
/// Threading: reentrant.
class APipeGraphicPair {
public:
    /// Holds references to both graphics buffers. If one is missing, an error that names the
    /// engine's operation is logged under tag.
    APipeGraphicPair(const char* tag, const char* operation, const sp<APipeBuffer>& input,
                     const sp<APipeBuffer>& output);

    bool isComplete() const { return mSource != nullptr && mDestination != nullptr; }

    const sp<GraphicBuffer>& source() const { return mSource; }
    const sp<GraphicBuffer>& destination() const { return mDestination; }

private:
    const sp<GraphicBuffer> mSource;
    const sp<GraphicBuffer> mDestination;
};

}  // namespace android
