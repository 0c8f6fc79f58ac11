// GraphicAllocation: what the allocator knows about one graphics buffer.
#pragma once

#include "MemoryFile.h"
#include "host/BufferLayout.h"

#include <cutils/native_handle.h>
#include <ui/PixelFormat.h>
#include <utils/Errors.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace android::host {

// What a client asks the allocator for.
struct BufferRequest {
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    PixelFormat format;
    uint64_t usage;
    std::string name;
};

// Memory, layout, handle and lock count of one buffer.
// Threading: thread-safe, the pixels excepted.
class GraphicAllocation {
public:
    GraphicAllocation(BufferRequest request, const BufferLayout& layout,
                      std::unique_ptr<MemoryFile> memory, native_handle_t* handle);
    // Warns of locks that were never undone.
    ~GraphicAllocation();

    GraphicAllocation(const GraphicAllocation&) = delete;
    GraphicAllocation& operator=(const GraphicAllocation&) = delete;

    const BufferRequest& request() const { return mRequest; }
    const BufferLayout& layout() const { return mLayout; }
    uint8_t* base() const { return mMemory->base(); }
    buffer_handle_t handle() const { return mHandle; }

    void addLock();
    // False when the buffer is not locked.
    bool removeLock();

private:
    const BufferRequest mRequest;
    const BufferLayout mLayout;
    const std::unique_ptr<MemoryFile> mMemory;
    native_handle_t* const mHandle;
    std::atomic<int> mLocks{0};
};

// Allocates and registers a buffer under its handle. `out` is set on OK only; BAD_VALUE for a size
// or format without a layout, NO_MEMORY. Each failure is logged. Threading: thread-safe.
status_t allocateGraphics(BufferRequest request, std::shared_ptr<GraphicAllocation>* out);

// The living buffer of a handle, null for any other pointer, which is not followed.
// Threading: thread-safe.
std::shared_ptr<GraphicAllocation> findGraphics(buffer_handle_t handle);

// Forgets the handle; the memory goes with the last user. Null is fine. Threading: thread-safe.
void freeGraphics(buffer_handle_t handle);

}  // namespace android::host
