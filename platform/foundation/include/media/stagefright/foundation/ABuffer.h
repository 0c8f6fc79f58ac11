// ABuffer: a block of bytes with a range in use.
#pragma once

#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

namespace android {

// Owns `capacity` bytes, or wraps bytes that its creator keeps alive. The range (offset and size)
// says which of them are in use; at first it is everything.
// Threading: reentrant; the bytes belong to whoever the protocol of the holders says.
class ABuffer : public RefBase {
public:
    // The bytes are not initialised. Without memory base() is null and capacity() 0.
    explicit ABuffer(size_t capacity);
    // Wraps `capacity` bytes at `data`, which must outlive the buffer.
    ABuffer(void* data, size_t capacity);
    // A buffer of its own with a copy of the bytes; null without memory.
    static sp<ABuffer> CreateAsCopy(const void* data, size_t capacity);

    uint8_t* base() { return mBase; }
    const uint8_t* base() const { return mBase; }
    uint8_t* data() { return mBase + mOffset; }
    const uint8_t* data() const { return mBase + mOffset; }
    size_t capacity() const { return mCapacity; }
    size_t size() const { return mSize; }
    size_t offset() const { return mOffset; }

    // The range must lie within the capacity; anything else is fatal.
    void setRange(size_t offset, size_t size);

protected:
    ~ABuffer() override;

private:
    uint8_t* const mBase;
    const size_t mCapacity;
    const bool mOwned;
    size_t mOffset = 0;
    size_t mSize;
};

}  // namespace android
