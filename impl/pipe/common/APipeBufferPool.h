// APipeBufferPool: the output buffers of one stage, handed out and taken back.
#pragma once

#include <utils/Errors.h>
#include <utils/KeyedVector.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

class APipeLoopChecker;
class APipePoolTable;

/// Allocates a fixed number of equal buffers and keeps each in exactly one of three lists:
/// available, in use, or (with the wait list) held back by presentation time. The number of a
/// buffer, "id" in its metadata, never changes.
///
/// The wait list holds the two returned buffers with the latest "timeUs" back, so that someone who
/// repeats frames can still take them, in time order; two more buffers are allocated for it.
///
/// Buffers may outlive the pool; what is in use when it ends goes with its last holder.
///
/// Threading: loop-bound, to the looper of the stage that owns the pool.
class PLEXA_EXPORT APipeBufferPool : public RefBase {
public:
    /// The most buffers that a stage may ask for, so that a wrong count cannot exhaust memory.
    static constexpr int32_t kMaxBufferCount = 64;

    APipeBufferPool();
    APipeBufferPool(const APipeBufferPool&) = delete;
    APipeBufferPool& operator=(const APipeBufferPool&) = delete;

    /// Allocates bufferCount buffers, and two more with the wait list, after dropping those of an
    /// earlier success. Memory is LocalMemory, or GraphicMemory for P010, P010Venus, Nv12Venus and
    /// Rgba8888. UNKNOWN_ERROR for other memory and formats, a count below 0 or above
    /// kMaxBufferCount, and when an allocation fails; what was made until then stays available.
    status_t init(int32_t bufferCount, int32_t width, int32_t height,
                  APipeBuffer::ColorFormat colorFormat, APipeBuffer::MemoryType memoryType,
                  bool useWaitBufferPool);

    /// The available buffer with the lowest id, or with `wait` the held-back one with the earliest
    /// time if there is any. Null when none is free.
    ///
    /// A buffer that a flush made available may still be read by whoever had it. Such an object is
    /// never handed out: a new one takes over its id here, rather than in flush(), because by now
    /// the reader has mostly let go. If that allocation fails, the next id is tried and this one
    /// again at the next call. Either way nothing is left of the metadata but "id", which is as it
    /// should be whatever a holder made of it.
    sp<APipeBuffer> acquireBuffer(bool wait);

    /// Takes a buffer back and clears its metadata down to "id", "reply" and "timeUs". With a
    /// "timeUs" and the wait list it is held back, which frees the held-back one with the earliest
    /// time when there are three, or the one with the same time. Refused with a log: a buffer
    /// without "id" or "reply", and one that is not, or after a flush no longer, the pool's. Which
    /// one it is the pool tells by the object, not by what its "id" says.
    void returnBuffer(const sp<APipeBuffer>& buffer);

    /// Makes the held-back buffer with the earliest time available. Refused with an error log by a
    /// pool without the wait list.
    void returnWaitBuffer();

    /// Makes every buffer available; metadata stays as it is until acquireBuffer(). A reply that is
    /// on its way must be made stale first.
    void flush();

    /// Forgets all buffers.
    void release();

protected:
    ~APipeBufferPool() override;

private:
    friend class APipe;

    using BuffersById = KeyedVector<int32_t, sp<APipeBuffer>>;
    struct HeldBack {
        int32_t id;
        sp<APipeBuffer> buffer;
    };

    static constexpr int32_t kWaitBufferCount = 2;

    void forgetAll();
    sp<APipeBuffer> createBuffer(int32_t id) const;
    sp<GraphicBuffer> createGraphicBuffer() const;
    bool isFreeToHandOut(size_t index);
    sp<APipeBuffer> handOut(int32_t id, sp<APipeBuffer> buffer);
    /// The pool's own reference and its id; null for a buffer that is not of this pool.
    HeldBack takeFromLists(const sp<APipeBuffer>& buffer);
    void holdBack(int64_t timeUs, HeldBack returned);
    void freeHeldBack(size_t index);

    sp<APipeLoopChecker> mLoopChecker;  // of the stage that owns the pool
    const sp<APipePoolTable> mTable;
    bool mInitialized = false;
    bool mUseWaitBufferPool = false;
    int32_t mBufferCount = -1;
    int32_t mWidth = -1;
    int32_t mHeight = -1;
    APipeBuffer::ColorFormat mColorFormat = static_cast<APipeBuffer::ColorFormat>(-1);
    APipeBuffer::MemoryType mMemoryType = APipeBuffer::InvalidMemory;
    BuffersById mAvailableBuffers;  // null for those in mTakenByFlush
    BuffersById mBuffersInUse;
    KeyedVector<int64_t, HeldBack> mBuffersInWait;
    // What a flush took from whoever had it. The strong references are theirs alone, so that the
    // last one to go tells that nobody reads the buffer any more.
    KeyedVector<int32_t, wp<APipeBuffer>> mTakenByFlush;
};

}  // namespace android
