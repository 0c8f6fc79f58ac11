// GraphicBufferMapper: CPU access to graphics buffers by handle.
#pragma once

#include <cutils/native_handle.h>
#include <system/graphics.h>
#include <ui/Rect.h>
#include <utils/Errors.h>

#include <cstdint>

namespace android {

// Gives CPU addresses for a buffer between lock and unlock. Locks of one buffer are counted: it
// may be locked several times, also by several threads, and needs as many unlocks. A lock does
// not keep the buffer alive, and the addresses are those of the whole buffer, whatever rectangle
// is asked for.
//
// Every refusal is logged with its cause and leaves the outputs as they were. Status:
//   BAD_VALUE          handle of no living buffer, null output, rectangle that is empty or reaches
//                      outside the buffer, usage without a CPU bit or with one that the buffer was
//                      not allocated for, format that this lock does not give
//   WOULD_BLOCK        the lock fails for the time being (on the host: an injected fault)
//   INVALID_OPERATION  unlock of a buffer that is not locked
//
// Threading: thread-safe.
class GraphicBufferMapper {
public:
    static GraphicBufferMapper& get();

    GraphicBufferMapper(const GraphicBufferMapper&) = delete;
    GraphicBufferMapper& operator=(const GraphicBufferMapper&) = delete;

    // The address of the first byte. Refused for compressed formats, and for YCBCR_420_888, whose
    // planes only lockYCbCr describes.
    status_t lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds, void** vaddr);

    // Plane addresses and strides. Refused for formats that are compressed or not YCbCr.
    status_t lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                       android_ycbcr* ycbcr);

    // Ends one lock. What was written is visible to everyone when it returns; there is no fence.
    status_t unlock(buffer_handle_t handle);

private:
    GraphicBufferMapper() = default;
};

}  // namespace android
