// APipeBufferFactory: chooses the buffer class for a colour format.
#define LOG_TAG "APipeBufferFactory"

#include "APipeBufferFactory.h"

#include <log/log.h>

namespace android {

namespace {

// Names a buffer class to a lambda.
template <typename Buffer>
struct Of {
    using Class = Buffer;
};

}  // namespace

sp<APipeBuffer> APipeBufferFactory::Create(APipeBuffer::ColorFormat colorFormat, int32_t width,
                                           int32_t height, const sp<GraphicBuffer>& graphicBuffer,
                                           const sp<APipeBuffer::IMemory>& memory,
                                           APipeBuffer::MemoryType memoryType, int32_t stride,
                                           int32_t elevation) {
    const auto make = [&](auto type, int32_t rowPitch, int32_t rows) -> sp<APipeBuffer> {
        using Buffer = typename decltype(type)::Class;
        return new Buffer(colorFormat, width, height, graphicBuffer, memory, memoryType, rowPitch,
                          rows);
    };
    switch (colorFormat) {
        case APipeBuffer::Yuv420p:
            return make(Of<APipeBufferYuv420p>(), stride, elevation);
        case APipeBuffer::Nv12:
            return make(Of<APipeBufferNv12>(), stride, elevation);
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return make(Of<APipeBufferP010>(), stride, elevation);
        case APipeBuffer::Rgba8888:
            return make(Of<APipeBufferRgba8888>(), stride, elevation);
        case APipeBuffer::Yv12:
            return make(Of<APipeBufferYv12>(), stride, elevation);
        case APipeBuffer::Nv12Venus:
            return make(Of<APipeBufferNv12Venus>(), -1, -1);
        case APipeBuffer::Nv12Ubwc:
            return make(Of<APipeBufferNv12Ubwc>(), -1, -1);
        case APipeBuffer::Tp10Ubwc:
            return make(Of<APipeBufferTp10Ubwc>(), -1, -1);
        default:
            ALOGE("Create unknown color format %d", colorFormat);
            return nullptr;
    }
}

}  // namespace android
