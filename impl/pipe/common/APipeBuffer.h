// APipeBuffer: the frame buffer of every stage, and its class for each colour format.
#pragma once

#include <android/hidl/memory/1.0/IMemory.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <ui/GraphicBuffer.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "APipeExport.h"

namespace android {

class APipeLoop;

/// One frame: pixel memory of one of three kinds, its colour format and geometry, the CPU
/// addresses of its planes, and a metadata message that travels with it.
///
/// The buffer owns the heap memory that init() allocates and shares a graphics buffer or memory
/// region with whoever passed it. Make one with APipeBufferFactory::Create, then init() it; before
/// that succeeds there are no plane addresses and nothing can be mapped. The last strong reference
/// frees its memory, unmapped and unlocked. A weak one keeps no more than the object and its
/// metadata, and cannot be promoted any more.
///
/// Sizes are in pixels, rows and bytes; -1 is a value that only the graphics allocator knows.
/// Operations return 0, or UNKNOWN_ERROR after an error log that says why.
///
/// Threading: reentrant. One party at a time owns a buffer, and hands it on in a message.
class PLEXA_EXPORT APipeBuffer : public RefBase {
public:
    /// Numbers as they stand in the "colorformat" of format messages. 7, 8 and 10 are refused.
    enum ColorFormat : int32_t {
        Unknown = 0,
        Yuv420p = 1,    // 8-bit planar 4:2:0: Y, Cb, Cr
        Nv12 = 2,       // 8-bit 4:2:0: Y, then interleaved CbCr
        P010 = 3,       // as Nv12 with 10 bits at the top of 16-bit samples
        Nv12Venus = 4,  // Nv12 in the video hardware's alignment
        Nv12Ubwc = 5,   // Nv12, compressed; only its graphics buffer is used
        Tp10Ubwc = 6,   // 10-bit 4:2:0, compressed; only its graphics buffer is used
        Reserved7 = 7,
        Reserved8 = 8,
        Rgba8888 = 9,  // 4 bytes a pixel
        Reserved10 = 10,
        Yv12 = 11,       // as Yuv420p with Cr before Cb
        P010Venus = 12,  // the geometry of P010, a number of its own for stages and engines
    };

    /// Which memory holds the pixels.
    enum MemoryType : int32_t {
        InvalidMemory = -1,
        GraphicMemory = 0,  // a GraphicBuffer, addresses from locking it
        HidlMemory = 1,     // a shared-memory region
        LocalMemory = 2,    // a heap buffer that init() allocates
    };

    using IMemory = hidl::memory::V1_0::IMemory;

    /// Stores its arguments and checks none: init() does. Of graphicBuffer and memory the one that
    /// memoryType names is needed, the other may be null. A negative stride (bytes of the first
    /// plane's rows, pixels for Rgba8888) or elevation (rows of the first plane) is left to the
    /// rules of APipeBufferUtils; others are taken as they are.
    APipeBuffer(ColorFormat colorFormat, int32_t width, int32_t height,
                const sp<GraphicBuffer>& graphicBuffer, const sp<IMemory>& memory,
                MemoryType memoryType, int32_t stride, int32_t elevation);
    APipeBuffer(const APipeBuffer&) = delete;
    APipeBuffer& operator=(const APipeBuffer&) = delete;

    /// Settles the geometry and obtains the pixel memory; a class for a format overrides it, the
    /// base only locks. A second call after a success does nothing; after a failure it tries again.
    virtual status_t init();

    /// Locks a graphics buffer for CPU reading and writing and takes its strides and plane
    /// addresses. Nothing to do, and 0, for other memory, compressed formats, and when locked.
    virtual status_t lock();

    /// Ends lock(). Does nothing when not locked.
    void unlock();

    /// The plane addresses; those that the format does not have are null.
    status_t getYCbCr(uint8_t** y, uint8_t** cb, uint8_t** cr);

    /// Maps the graphics buffer's first descriptor, readable, writable and shared, once; later
    /// calls give the same address. The descriptor stays the graphics buffer's.
    status_t getMappedParam(int* fd, uint8_t** address);

    /// Ends getMappedParam().
    void unMap();

    /// Descriptor `index` of the graphics buffer; 0 past the last one, -1 without a buffer.
    int getFd(size_t index);

    /// Hands the buffer back: posts a copy of the message under "reply" in the metadata, with this
    /// buffer as its "buffer". Without "reply" nothing happens. The stored message never gets the
    /// buffer: it would hold it for ever from inside the buffer's own metadata whenever the copy
    /// is not handled. Any thread that owns the buffer. A reply of a client's own reads here what
    /// its handler is registered with; one with a null message inside cannot be copied and is not
    /// posted, which an error in the log tells.
    void release();

    /// The metadata itself, never null and the same for the buffer's life: keys set through it are
    /// the buffer's.
    const sp<AMessage>& getMeta() const { return mMeta; }

    int32_t getWidth() const { return mWidth; }
    int32_t getHeight() const { return mHeight; }
    int32_t getStride() const { return mStride; }
    /// Bytes of a chroma row as the graphics allocator has it; -1 for other memory.
    int32_t getCStride() const { return mCStride; }
    int32_t getElevation() const { return mElevation; }
    int32_t getSize() const { return mSize; }
    ColorFormat getColorFormat() const { return mColorFormat; }
    MemoryType getMemoryType() const { return mMemoryType; }
    sp<GraphicBuffer> getGraphicBuffer() const { return mGraphicBuffer; }
    sp<IMemory> getIMemory() const { return mMemory; }
    sp<ABuffer> getLocalBuffer() const { return mLocalBuffer; }

protected:
    struct ChromaPlanes {
        uint8_t* cb;
        uint8_t* cr;
    };
    /// Where a format has its chroma, given the first byte after the luma plane and a quarter of
    /// the luma plane's bytes.
    using ChromaLayout = ChromaPlanes (*)(uint8_t* afterLuma, size_t quarter);

    ~APipeBuffer() override;
    void onLastStrongRef(const void* id) override;
    bool onIncStrongAttempted(uint32_t flags, const void* id) override;

    /// init() of a linear format; tag is the class's log tag.
    status_t initLinear(const char* tag, ChromaLayout layout);
    /// As initLinear(), with rows and size always those of the video hardware's layout.
    status_t initVenus(const char* tag, ChromaLayout layout);
    /// init() of a compressed format.
    status_t initCompressed(const char* tag);

    /// True when lock() is over before the mapper is asked; then status is its result.
    bool lockIsSettled(const char* tag, status_t* status) const;
    /// Takes the allocator's stride and the size that follows; UNKNOWN_ERROR, and unlocked, when
    /// there is none.
    status_t adoptStride(int32_t stride);

    int32_t mWidth;
    int32_t mHeight;
    int32_t mStride;
    int32_t mCStride = -1;
    int32_t mElevation;
    MemoryType mMemoryType;
    sp<GraphicBuffer> mGraphicBuffer;
    sp<IMemory> mMemory;
    sp<ABuffer> mLocalBuffer;
    uint8_t* mY = nullptr;
    uint8_t* mCb = nullptr;
    uint8_t* mCr = nullptr;
    uint8_t* mMappedAddr = nullptr;
    sp<AMessage> mMeta;
    ColorFormat mColorFormat;
    int32_t mSize = 0;
    bool mInitialized = false;
    bool mLocked = false;

private:
    friend class APipe;
    friend class APipeBufferPool;
    friend struct APipePlace;

    // For a pool that wants a buffer back once nobody holds it. It awaits the buffer, keeps a weak
    // reference and drops its strong one, so that the last strong one to go is a holder's.
    enum class Holding { Held, Awaited, LetGo, Regained };
    void await() { mHolding.store(Holding::Awaited, std::memory_order_relaxed); }
    // The awaited buffer once all have let go of it, null until then. What they did with it is over
    // and visible.
    static sp<APipeBuffer> regain(const wp<APipeBuffer>& awaited);
    // Awaits it no more: its memory goes with its last holder.
    static void forgo(const wp<APipeBuffer>& awaited);
    void freeMemory();

    // The reply that a stage gave the buffer last, for the next time that it hands the buffer out.
    struct Reply {
        sp<AMessage> message;
        sp<APipeLoop> loop;  // the stage's
        int32_t generation = 0;
    };
    Reply mReply;
    std::atomic<Holding> mHolding = Holding::Held;

    // Where the buffer is in a chain, for a stage's debugString.
    std::atomic<uint64_t> mPlace = 0;
    std::atomic<int64_t> mFrameUs = -1;

    bool initIsDone(const char* tag) const;
    int32_t frameSize() const;
    status_t initMemory(const char* tag, ChromaLayout layout);
    uint8_t* allocateLocal(const char* tag);
    uint8_t* regionAddress(const char* tag) const;
};

/// Yuv420p. Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferYuv420p : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Nv12. Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferNv12 : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Yv12. Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferYv12 : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Rgba8888: the stride is in pixels, and locking gives one address.
/// Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferRgba8888 : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
    status_t lock() override;
};

/// P010 and P010Venus. Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferP010 : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Nv12Venus: rows a multiple of 128 bytes, luma rows a multiple of 32, chroma rows a multiple of
/// 16, the whole a multiple of 4096 bytes. In graphics memory the stride is the allocator's.
/// Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferNv12Venus : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Nv12Ubwc: graphics memory only, never locked, no plane addresses, every size -1.
/// Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferNv12Ubwc : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

/// Tp10Ubwc: as APipeBufferNv12Ubwc. Threading: as APipeBuffer.
class PLEXA_EXPORT APipeBufferTp10Ubwc : public APipeBuffer {
public:
    using APipeBuffer::APipeBuffer;
    status_t init() override;
};

}  // namespace android
