// APipeBufferPool: the output buffers of one stage, handed out and taken back.
#define LOG_TAG "APipeBufferPool"

#include "APipeBufferPool.h"

#include <hardware/gralloc.h>
#include <log/log.h>
#include <system/graphics.h>

#include <utility>

#include "APipeBufferFactory.h"
#include "APipeLoopChecker.h"
#include "APipePlace.h"
#include "APipePoolTable.h"

// The number of Nv12Venus is the chip vendor's; a device with another one defines it for its build.
#ifndef PLEXA_PIXEL_FORMAT_VENUS
#define PLEXA_PIXEL_FORMAT_VENUS 0x7FA30C04
#endif

namespace android {

namespace {

constexpr uint64_t kCpuUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;
constexpr uint64_t kGpuUsage = GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_HW_RENDER;

struct GraphicKind {
    PixelFormat format;
    uint64_t usage;
    const char* requestor;
};

// The kind with format 0 stands for a colour format that pools do not have in graphics memory.
GraphicKind graphicKind(APipeBuffer::ColorFormat colorFormat) {
    switch (colorFormat) {
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return {HAL_PIXEL_FORMAT_YCBCR_P010, kCpuUsage, "for_ubwc"};
        case APipeBuffer::Nv12Venus:
            return {PLEXA_PIXEL_FORMAT_VENUS, kCpuUsage, "for_ubwc"};
        case APipeBuffer::Rgba8888:
            return {HAL_PIXEL_FORMAT_RGBA_8888, kCpuUsage | kGpuUsage, "for_filter"};
        default:
            return {};
    }
}

// For whoever asks where the pool's buffers are.
void putBack(APipeBuffer& buffer) {
    APipePlace{APipePlace::kInPool}.putOn(buffer);
}

template <typename Key, typename Value>
Value takeAt(KeyedVector<Key, Value>& list, size_t index) {
    Value value = std::move(list.editValueAt(index));
    list.removeItemsAt(index);
    return value;
}

}  // namespace

APipeBufferPool::APipeBufferPool() : mTable(new APipePoolTable) {}

APipeBufferPool::~APipeBufferPool() {
    forgetAll();
}

status_t APipeBufferPool::init(int32_t bufferCount, int32_t width, int32_t height,
                               APipeBuffer::ColorFormat colorFormat,
                               APipeBuffer::MemoryType memoryType, bool useWaitBufferPool) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    release();
    if (bufferCount > kMaxBufferCount) {
        ALOGW("init() requested bufferCount %d is bigger than kMaxBufferCount %d", bufferCount,
              kMaxBufferCount);
        return UNKNOWN_ERROR;
    }
    if (bufferCount < 0) {
        ALOGE("init() requested bufferCount %d is negative", bufferCount);
        return UNKNOWN_ERROR;
    }
    if (memoryType == APipeBuffer::HidlMemory || memoryType == APipeBuffer::InvalidMemory) {
        ALOGW("init() unsupported MemoryType %d", memoryType);
        return UNKNOWN_ERROR;
    }
    mBufferCount = bufferCount;
    mWidth = width;
    mHeight = height;
    mColorFormat = colorFormat;
    mMemoryType = memoryType;
    mUseWaitBufferPool = useWaitBufferPool;

    const int32_t total = mBufferCount + (mUseWaitBufferPool ? kWaitBufferCount : 0);
    for (int32_t id = 0; id < total; ++id) {
        const sp<APipeBuffer> buffer = createBuffer(id);
        if (buffer == nullptr) return UNKNOWN_ERROR;
        mAvailableBuffers.add(id, buffer);
        mTable->set(id, buffer);
    }
    mInitialized = true;
    return OK;
}

sp<APipeBuffer> APipeBufferPool::acquireBuffer(bool wait) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (wait && !mBuffersInWait.isEmpty()) {
        HeldBack first = takeAt(mBuffersInWait, 0);
        return handOut(first.id, std::move(first.buffer));
    }
    for (size_t i = 0; i < mAvailableBuffers.size(); ++i) {
        if (!isFreeToHandOut(i)) continue;
        const int32_t id = mAvailableBuffers.keyAt(i);
        return handOut(id, takeAt(mAvailableBuffers, i));
    }
    return nullptr;
}

void APipeBufferPool::returnBuffer(const sp<APipeBuffer>& buffer) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    int32_t saidId = 0;
    sp<AMessage> reply;
    if (buffer != nullptr) buffer->getMeta()->findMessage("reply", &reply);
    if (reply == nullptr || !buffer->getMeta()->findInt32("id", &saidId)) {
        ALOGE("returnBuffer() refused a buffer without \"id\" or \"reply\"");
        return;
    }
    HeldBack own = takeFromLists(buffer);
    if (own.buffer == nullptr) {
        ALOGW("returnBuffer() refused buffer %d, which is not of this pool", saidId);
        return;
    }
    putBack(*buffer);
    const sp<AMessage>& meta = buffer->getMeta();
    int64_t timeUs = 0;
    const bool hasTime = meta->findInt64("timeUs", &timeUs);
    meta->clear();
    meta->setInt32("id", own.id);
    if (hasTime) meta->setInt64("timeUs", timeUs);
    meta->setMessage("reply", std::move(reply));

    if (hasTime && mUseWaitBufferPool) {
        holdBack(timeUs, std::move(own));
    } else {
        mAvailableBuffers.add(own.id, std::move(own.buffer));
    }
}

void APipeBufferPool::returnWaitBuffer() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (!mUseWaitBufferPool) {
        ALOGE("returnWaitBuffer() refused, the pool has no wait list");
        return;
    }
    if (!mBuffersInWait.isEmpty()) freeHeldBack(0);
}

void APipeBufferPool::flush() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (!mInitialized) return;
    while (!mBuffersInWait.isEmpty())
        freeHeldBack(0);
    for (size_t i = 0; i < mBuffersInUse.size(); ++i) {
        const int32_t id = mBuffersInUse.keyAt(i);
        mBuffersInUse.valueAt(i)->await();
        mTakenByFlush.add(id, mBuffersInUse.valueAt(i));
        mAvailableBuffers.add(id, nullptr);
        mTable->setTakenByFlush(id, true);
    }
    mBuffersInUse.clear();
    ALOGI("flush done mAvailableBuffers %zu, mBuffersInUse %zu mBuffersInWait %zu",
          mAvailableBuffers.size(), mBuffersInUse.size(), mBuffersInWait.size());
}

void APipeBufferPool::release() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    forgetAll();
}

void APipeBufferPool::forgetAll() {
    if (!mInitialized) return;
    mInitialized = false;
    mAvailableBuffers.clear();
    mBuffersInUse.clear();
    mBuffersInWait.clear();
    for (size_t i = 0; i < mTakenByFlush.size(); ++i)
        APipeBuffer::forgo(mTakenByFlush.valueAt(i));
    mTakenByFlush.clear();
    mTable->clear();
}

sp<APipeBuffer> APipeBufferPool::createBuffer(int32_t id) const {
    sp<GraphicBuffer> graphicBuffer;
    if (mMemoryType == APipeBuffer::GraphicMemory) {
        graphicBuffer = createGraphicBuffer();
        if (graphicBuffer == nullptr) return nullptr;
    } else if (mMemoryType != APipeBuffer::LocalMemory) {
        return nullptr;
    }
    sp<APipeBuffer> buffer = APipeBufferFactory::Create(
        mColorFormat, mWidth, mHeight, graphicBuffer, nullptr, mMemoryType, -1, -1);
    if (buffer == nullptr || buffer->init() != OK) return nullptr;
    buffer->getMeta()->setInt32("id", id);
    putBack(*buffer);
    return buffer;
}

sp<GraphicBuffer> APipeBufferPool::createGraphicBuffer() const {
    const GraphicKind kind = graphicKind(mColorFormat);
    if (kind.format == PIXEL_FORMAT_UNKNOWN) {
        ALOGE("init() undefined colorformat %d", mColorFormat);
        return nullptr;
    }
    sp<GraphicBuffer> buffer;
    if (mWidth > 0 && mHeight > 0) {
        buffer = new GraphicBuffer(static_cast<uint32_t>(mWidth), static_cast<uint32_t>(mHeight),
                                   kind.format, 1, kind.usage, kind.requestor);
    }
    if (buffer == nullptr) ALOGE("init() failed to create GraphicBuffer");
    return buffer;
}

bool APipeBufferPool::isFreeToHandOut(size_t index) {
    sp<APipeBuffer>& buffer = mAvailableBuffers.editValueAt(index);
    if (buffer != nullptr) return true;
    const int32_t id = mAvailableBuffers.keyAt(index);
    const wp<APipeBuffer>& taken = mTakenByFlush.valueFor(id);
    buffer = APipeBuffer::regain(taken);
    if (buffer != nullptr) {
        // It was not returned, so it still carries what was said of the frame that it had.
        buffer->getMeta()->clear();
        putBack(*buffer);
    } else {
        buffer = createBuffer(id);
        if (buffer == nullptr) {
            ALOGE("acquireBuffer() cannot replace buffer %d, which is still in use elsewhere", id);
            return false;
        }
        APipeBuffer::forgo(taken);
    }
    mTakenByFlush.removeItem(id);
    mTable->set(id, buffer);
    return true;
}

sp<APipeBuffer> APipeBufferPool::handOut(int32_t id, sp<APipeBuffer> buffer) {
    // Whoever had it may have cleared or edited it, and a return needs the id.
    buffer->getMeta()->setInt32("id", id);
    mBuffersInUse.add(id, buffer);
    return buffer;
}

APipeBufferPool::HeldBack APipeBufferPool::takeFromLists(const sp<APipeBuffer>& buffer) {
    for (BuffersById* list : {&mBuffersInUse, &mAvailableBuffers}) {
        for (size_t i = 0; i < list->size(); ++i) {
            if (list->valueAt(i) != buffer) continue;
            const int32_t id = list->keyAt(i);
            return {id, takeAt(*list, i)};
        }
    }
    for (size_t i = 0; i < mBuffersInWait.size(); ++i) {
        if (mBuffersInWait.valueAt(i).buffer == buffer) return takeAt(mBuffersInWait, i);
    }
    return {};
}

void APipeBufferPool::holdBack(int64_t timeUs, HeldBack returned) {
    const ssize_t sameTime = mBuffersInWait.indexOfKey(timeUs);
    if (sameTime >= 0) freeHeldBack(static_cast<size_t>(sameTime));
    mBuffersInWait.add(timeUs, std::move(returned));
    if (mBuffersInWait.size() > kWaitBufferCount) freeHeldBack(0);
}

void APipeBufferPool::freeHeldBack(size_t index) {
    HeldBack freed = takeAt(mBuffersInWait, index);
    mAvailableBuffers.add(freed.id, std::move(freed.buffer));
}

}  // namespace android
