// APipeBuffer and its class for each colour format.
#define LOG_TAG "APipeBuffer"

#include "APipeBuffer.h"

#include <android/log.h>
#include <hardware/gralloc.h>
#include <log/log.h>
#include <sys/mman.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/Rect.h>

#include "APipeBufferUtils.h"
#include "APipeLoop.h"
#include "APipeMessages.h"
#include "APipePlace.h"

namespace android {

namespace {

constexpr uint32_t kCpuUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;

// The video hardware's layout of NV12.
constexpr int32_t kVenusRowBytes = 128;
constexpr int32_t kVenusLumaRows = 32;
constexpr int32_t kVenusSizeBytes = 4096;

// Luma rows come in 32s, so the half as many chroma rows come in 16s.
int32_t venusSize(int32_t stride, int32_t elevation) {
    if (stride < 1 || elevation < 1) return -1;
    const int64_t luma = int64_t{stride} * elevation;
    return APipeBufferUtils::alignedUp(luma + luma / 2, kVenusSizeBytes);
}

}  // namespace

APipeBuffer::APipeBuffer(ColorFormat colorFormat, int32_t width, int32_t height,
                         const sp<GraphicBuffer>& graphicBuffer, const sp<IMemory>& memory,
                         MemoryType memoryType, int32_t stride, int32_t elevation)
    : mWidth(width),
      mHeight(height),
      mStride(stride),
      mElevation(elevation),
      mMemoryType(memoryType),
      mGraphicBuffer(graphicBuffer),
      mMemory(memory),
      mMeta(new AMessage()),
      mColorFormat(colorFormat) {
    extendObjectLifetime(OBJECT_LIFETIME_WEAK);
}

APipeBuffer::~APipeBuffer() {
    freeMemory();
}

status_t APipeBuffer::init() {
    return lock();
}

status_t APipeBuffer::lock() {
    status_t status = OK;
    if (lockIsSettled(LOG_TAG, &status)) return status;

    android_ycbcr planes = {};
    status = GraphicBufferMapper::get().lockYCbCr(mGraphicBuffer->handle, kCpuUsage,
                                                  Rect(0, 0, mWidth, mHeight), &planes);
    if (status != OK) {
        ALOGE("lock() lockYCbCr failed err %d", status);
        return UNKNOWN_ERROR;
    }
    mLocked = true;
    if (adoptStride(static_cast<int32_t>(planes.ystride)) != OK) return UNKNOWN_ERROR;
    mCStride = static_cast<int32_t>(planes.cstride);
    mY = static_cast<uint8_t*>(planes.y);
    mCb = static_cast<uint8_t*>(planes.cb);
    mCr = static_cast<uint8_t*>(planes.cr);
    return OK;
}

void APipeBuffer::unlock() {
    if (mGraphicBuffer == nullptr || !mLocked) return;
    GraphicBufferMapper::get().unlock(mGraphicBuffer->handle);
    mLocked = false;
}

status_t APipeBuffer::getYCbCr(uint8_t** y, uint8_t** cb, uint8_t** cr) {
    if (!mInitialized) {
        ALOGE("getYCbCr failed, it has not been initialized");
        return UNKNOWN_ERROR;
    }
    *y = mY;
    *cb = mCb;
    *cr = mCr;
    return OK;
}

status_t APipeBuffer::getMappedParam(int* fd, uint8_t** address) {
    if (!mInitialized) {
        ALOGE("getMappedParam failed, it has not been initialized");
        return UNKNOWN_ERROR;
    }
    if (mGraphicBuffer == nullptr) {
        ALOGE("getMappedParam failed, only GraphicBuffer is supported");
        return UNKNOWN_ERROR;
    }
    const int first = getFd(0);
    if (mMappedAddr == nullptr) {
        // The -1 of a compressed format is more than there are addresses.
        void* const mapping =
            mmap(nullptr, static_cast<size_t>(mSize), PROT_READ | PROT_WRITE, MAP_SHARED, first, 0);
        if (mapping == MAP_FAILED) {
            ALOGE("getMappedParam mmap failed");
            return UNKNOWN_ERROR;
        }
        mMappedAddr = static_cast<uint8_t*>(mapping);
    }
    *fd = first;
    *address = mMappedAddr;
    return OK;
}

void APipeBuffer::unMap() {
    if (!mInitialized) {
        ALOGE("unMap failed, it has not been initialized");
        return;
    }
    if (mGraphicBuffer == nullptr) {
        ALOGE("unMap failed, only GraphicBuffer is supported");
        return;
    }
    if (mMappedAddr == nullptr) return;
    munmap(mMappedAddr, static_cast<size_t>(mSize));
    mMappedAddr = nullptr;
}

int APipeBuffer::getFd(size_t index) {
    if (mGraphicBuffer == nullptr) {
        ALOGE("getFd failed, only GraphicBuffer is supported");
        return -1;
    }
    const native_handle_t* handle = mGraphicBuffer->handle;
    if (handle == nullptr || index >= static_cast<size_t>(handle->numFds)) return 0;
    return handle->data[index];
}

void APipeBuffer::release() {
    sp<AMessage> reply;
    if (!mMeta->findMessage("reply", &reply) || reply == nullptr) return;
    const bool isOfStage = reply == mReply.message;
    const sp<AMessage> copy =
        isOfStage ? mReply.loop->copy(reply) : APipeMessages::copy(LOG_TAG, reply);
    if (copy == nullptr) return;
    APipePlace{APipePlace::kOnTheWayHome, 0, APipePlace::of(*this).sinceMs}.putOn(*this);
    copy->setObject("buffer", this);
    copy->post();
}

bool APipeBuffer::lockIsSettled(const char* tag, status_t* status) const {
    *status = OK;
    if (mMemoryType == HidlMemory || mMemoryType == LocalMemory) return true;
    if (APipeBufferUtils::isCompressedColorformat(mColorFormat)) return true;
    if (mGraphicBuffer == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "lock() failed GraphicBuffer is nullptr");
        *status = UNKNOWN_ERROR;
        return true;
    }
    return mLocked;
}

status_t APipeBuffer::adoptStride(int32_t stride) {
    if (stride != mStride) {
        mStride = stride;
        mSize = frameSize();
    }
    if (mSize >= 0) return OK;
    unlock();
    return UNKNOWN_ERROR;
}

// The object is there as long as the weak reference is.
sp<APipeBuffer> APipeBuffer::regain(const wp<APipeBuffer>& awaited) {
    std::atomic<Holding>& holding = awaited.unsafe_get()->mHolding;
    // Pairs with the release in onLastStrongRef().
    if (holding.load(std::memory_order_acquire) != Holding::LetGo) return nullptr;
    holding.store(Holding::Regained, std::memory_order_relaxed);
    sp<APipeBuffer> buffer = awaited.promote();
    holding.store(Holding::Held, std::memory_order_relaxed);
    return buffer;
}

void APipeBuffer::forgo(const wp<APipeBuffer>& awaited) {
    Holding expected = Holding::Awaited;
    const bool isHeld = awaited.unsafe_get()->mHolding.compare_exchange_strong(
        expected, Holding::Held, std::memory_order_relaxed);
    // To let go of it once more frees it.
    if (!isHeld) regain(awaited);
}

void APipeBuffer::onLastStrongRef(const void*) {
    Holding expected = Holding::Awaited;
    if (!mHolding.compare_exchange_strong(expected, Holding::LetGo, std::memory_order_release)) {
        freeMemory();
    }
}

bool APipeBuffer::onIncStrongAttempted(uint32_t, const void*) {
    return mHolding.load(std::memory_order_relaxed) == Holding::Regained;
}

void APipeBuffer::freeMemory() {
    if (mInitialized && mMemoryType == GraphicMemory) {
        unMap();
        unlock();
    }
    mInitialized = false;
    mLocalBuffer.clear();
    mMemory.clear();
    mGraphicBuffer.clear();
}

bool APipeBuffer::initIsDone(const char* tag) const {
    if (mInitialized) __android_log_print(ANDROID_LOG_INFO, tag, "init() already initialized");
    return mInitialized;
}

int32_t APipeBuffer::frameSize() const {
    if (mColorFormat == Nv12Venus) return venusSize(mStride, mElevation);
    return APipeBufferUtils::getSize(mColorFormat, mWidth, mHeight, mStride, mElevation);
}

status_t APipeBuffer::initLinear(const char* tag, ChromaLayout layout) {
    if (initIsDone(tag)) return OK;
    if (mStride < 0) mStride = APipeBufferUtils::getStride(mColorFormat, mWidth);
    if (mElevation < 0) mElevation = APipeBufferUtils::getElevation(mColorFormat, mHeight);
    return initMemory(tag, layout);
}

status_t APipeBuffer::initVenus(const char* tag, ChromaLayout layout) {
    if (initIsDone(tag)) return OK;
    mStride = APipeBufferUtils::alignedUp(mWidth, kVenusRowBytes);
    mElevation = APipeBufferUtils::alignedUp(mHeight, kVenusLumaRows);
    return initMemory(tag, layout);
}

status_t APipeBuffer::initMemory(const char* tag, ChromaLayout layout) {
    mSize = frameSize();
    if (mSize < 0) return UNKNOWN_ERROR;

    uint8_t* base = nullptr;
    switch (mMemoryType) {
        case GraphicMemory: {
            const status_t status = lock();
            mInitialized = status == OK;
            return status;
        }
        case LocalMemory:
            base = allocateLocal(tag);
            break;
        case HidlMemory:
            base = regionAddress(tag);
            break;
        default:
            __android_log_print(ANDROID_LOG_ERROR, tag, "init() unknown memoryType %d",
                                mMemoryType);
            break;
    }
    if (base == nullptr) return UNKNOWN_ERROR;

    const size_t luma = static_cast<size_t>(mStride) * static_cast<size_t>(mElevation);
    const ChromaPlanes chroma = layout(base + luma, luma / 4);
    mY = base;
    mCb = chroma.cb;
    mCr = chroma.cr;
    mInitialized = true;
    return OK;
}

uint8_t* APipeBuffer::allocateLocal(const char* tag) {
    const sp<ABuffer> local = new ABuffer(static_cast<size_t>(mSize));
    if (local->data() == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "init() failed to allocate %d bytes", mSize);
        return nullptr;
    }
    mLocalBuffer = local;
    return local->data();
}

uint8_t* APipeBuffer::regionAddress(const char* tag) const {
    if (mMemory == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "init() failed IMemory is nullptr");
        return nullptr;
    }
    const uint64_t size = mMemory->getSize();
    if (size != static_cast<uint64_t>(mSize)) {
        __android_log_print(ANDROID_LOG_ERROR, tag,
                            "init() failed memory size %zu, calculated size %d",
                            static_cast<size_t>(size), mSize);
        return nullptr;
    }
    void* const address = mMemory->getPointer();
    if (address == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "init() failed IMemory is not mapped");
    }
    return static_cast<uint8_t*>(address);
}

status_t APipeBuffer::initCompressed(const char* tag) {
    if (initIsDone(tag)) return OK;
    mStride = APipeBufferUtils::getStride(mColorFormat, mWidth);
    mElevation = APipeBufferUtils::getElevation(mColorFormat, mHeight);
    mSize = APipeBufferUtils::getSize(mColorFormat, mWidth, mHeight, -1, -1);

    switch (mMemoryType) {
        case HidlMemory:
        case LocalMemory:
            __android_log_print(ANDROID_LOG_ERROR, tag, "init() not supported memory type %d",
                                mMemoryType);
            return UNKNOWN_ERROR;
        case GraphicMemory:
            break;
        default:
            __android_log_print(ANDROID_LOG_ERROR, tag, "init() unknown memoryType %d",
                                mMemoryType);
            return UNKNOWN_ERROR;
    }
    if (mGraphicBuffer == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "init() failed GraphicBuffer is nullptr");
        return UNKNOWN_ERROR;
    }
    mInitialized = true;
    return OK;
}

status_t APipeBufferYuv420p::init() {
    return initLinear("APipeBufferYuv420p", [](uint8_t* afterLuma, size_t quarter) {
        return ChromaPlanes{afterLuma, afterLuma + quarter};
    });
}

status_t APipeBufferNv12::init() {
    return initLinear("APipeBufferNv12", [](uint8_t* afterLuma, size_t) {
        return ChromaPlanes{afterLuma, afterLuma + 1};
    });
}

status_t APipeBufferYv12::init() {
    return initLinear("APipeBufferYv12", [](uint8_t* afterLuma, size_t quarter) {
        return ChromaPlanes{afterLuma + quarter, afterLuma};
    });
}

status_t APipeBufferRgba8888::init() {
    return initLinear("APipeBufferRgba8888", [](uint8_t*, size_t) {
        return ChromaPlanes{nullptr, nullptr};
    });
}

status_t APipeBufferRgba8888::lock() {
    constexpr const char* kTag = "APipeBufferRgba8888";
    status_t status = OK;
    if (lockIsSettled(kTag, &status)) return status;

    void* address = nullptr;
    status = GraphicBufferMapper::get().lock(mGraphicBuffer->handle, kCpuUsage,
                                             Rect(0, 0, mWidth, mHeight), &address);
    if (status != OK) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "lock() lock failed err %d", status);
        return UNKNOWN_ERROR;
    }
    mLocked = true;
    if (adoptStride(static_cast<int32_t>(mGraphicBuffer->getStride())) != OK) return UNKNOWN_ERROR;
    mY = static_cast<uint8_t*>(address);
    return OK;
}

status_t APipeBufferP010::init() {
    return initLinear("APipeBufferP010", [](uint8_t* afterLuma, size_t) {
        return ChromaPlanes{afterLuma, afterLuma + 2};
    });
}

status_t APipeBufferNv12Venus::init() {
    return initVenus("APipeBufferNv12Venus", [](uint8_t* afterLuma, size_t) {
        return ChromaPlanes{afterLuma, afterLuma + 1};
    });
}

status_t APipeBufferNv12Ubwc::init() {
    return initCompressed("APipeBufferNv12Ubwc");
}

status_t APipeBufferTp10Ubwc::init() {
    return initCompressed("APipeBufferTp10Ubwc");
}

}  // namespace android
