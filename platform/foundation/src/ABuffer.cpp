// Byte buffers.
#define LOG_TAG "ABuffer"

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/ADebug.h>

#include <cstdlib>
#include <cstring>

namespace android {

ABuffer::ABuffer(size_t capacity)
    : mBase(static_cast<uint8_t*>(malloc(capacity))),
      mCapacity(mBase != nullptr ? capacity : 0),
      mOwned(true),
      mSize(mCapacity) {
    ALOGE_IF(mCapacity != capacity, "no memory for %zu bytes", capacity);
}

ABuffer::ABuffer(void* data, size_t capacity)
    : mBase(static_cast<uint8_t*>(data)), mCapacity(capacity), mOwned(false), mSize(capacity) {}

ABuffer::~ABuffer() {
    if (mOwned) free(mBase);
}

sp<ABuffer> ABuffer::CreateAsCopy(const void* data, size_t capacity) {
    sp<ABuffer> copy = sp<ABuffer>::make(capacity);
    if (copy->capacity() != capacity) return nullptr;
    if (capacity != 0) memcpy(copy->base(), data, capacity);
    return copy;
}

void ABuffer::setRange(size_t offset, size_t size) {
    CHECK_LE(offset, mCapacity);
    CHECK_LE(size, mCapacity - offset);
    mOffset = offset;
    mSize = size;
}

}  // namespace android
