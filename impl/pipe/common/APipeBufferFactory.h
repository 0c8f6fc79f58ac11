// APipeBufferFactory: chooses the buffer class for a colour format.
#pragma once

#include <cstdint>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

/// Makes the buffers of pools, and wraps memory that a client has.
///
/// Threading: thread-safe; there is no state.
class PLEXA_EXPORT APipeBufferFactory {
public:
    APipeBufferFactory() = delete;

    /// A buffer that still needs its init(); arguments as the constructor of APipeBuffer. Stride
    /// and elevation count for the linear formats only. Null, after an error log, for a format
    /// without a class.
    static sp<APipeBuffer> Create(APipeBuffer::ColorFormat colorFormat, int32_t width,
                                  int32_t height, const sp<GraphicBuffer>& graphicBuffer,
                                  const sp<APipeBuffer::IMemory>& memory,
                                  APipeBuffer::MemoryType memoryType, int32_t stride,
                                  int32_t elevation);
};

}  // namespace android
