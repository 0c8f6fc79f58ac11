// Unpacker: the linear form of a compressed graphics buffer.
#pragma once

#include <cl/converter/CLConverter.h>
#include <ui/GraphicBuffer.h>
#include <utils/StrongPointer.h>

#include <memory>

namespace android::host {

// A device's GPU reads compressed buffers as they are; the host's has libvexcolor unpack them. The
// converter and the linear buffer stay for the next frame of the same format and size.
// Threading: not thread-safe.
class Unpacker {
public:
    Unpacker() = default;
    ~Unpacker();
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;

    // Valid until the next call; null, after an error log, when libvexcolor refuses the buffer.
    const GraphicBuffer* unpack(const sp<GraphicBuffer>& compressed);

private:
    bool isSetUpFor(const GraphicBuffer& compressed) const;
    bool setUpFor(const GraphicBuffer& compressed);
    void release();

    std::unique_ptr<cl::converter::CLConverter> mConverter;
    PixelFormat mFormat = PIXEL_FORMAT_UNKNOWN;
    sp<GraphicBuffer> mLinear;
};

}  // namespace android::host
