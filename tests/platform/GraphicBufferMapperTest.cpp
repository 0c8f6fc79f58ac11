// GraphicBufferMapper: who may lock what, and how locks are counted.
#include "ui/GraphicBufferMapper.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>
#include <hardware/gralloc.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>
#include <ui/GraphicBuffer.h>

#include <limits>
#include <thread>
#include <vector>

namespace android {
namespace {

constexpr uint32_t kRead = GRALLOC_USAGE_SW_READ_OFTEN;
constexpr uint32_t kWrite = GRALLOC_USAGE_SW_WRITE_OFTEN;
constexpr uint32_t kCpu = kRead | kWrite;
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

sp<GraphicBuffer> allocate(PixelFormat format, uint64_t usage = kCpu) {
    return sp<GraphicBuffer>::make(20U, 10U, format, 1U, usage, "test");
}

GraphicBufferMapper& mapper() {
    return GraphicBufferMapper::get();
}

// Every refusal leaves the result alone and is logged once; what works says nothing.
class GraphicBufferMapperTest : public testing::Test {
protected:
    ~GraphicBufferMapperTest() override {
        host::FaultInjection::clear();
        EXPECT_EQ(host::graphicsCounts(), host::GraphicsCounts());
    }

    status_t lock(buffer_handle_t handle, uint32_t usage = kCpu, const Rect& rect = {20, 10}) {
        void* address = nullptr;
        const status_t status = logged(mapper().lock(handle, usage, rect, &address));
        EXPECT_EQ(address != nullptr, status == OK);
        return status;
    }

    status_t lockYCbCr(buffer_handle_t handle, uint32_t usage = kCpu, const Rect& rect = {20, 10}) {
        android_ycbcr planes{};
        const status_t status = logged(mapper().lockYCbCr(handle, usage, rect, &planes));
        EXPECT_EQ(planes.y != nullptr, status == OK);
        return status;
    }

    status_t unlock(buffer_handle_t handle) { return logged(mapper().unlock(handle)); }

    status_t logged(status_t status) {
        EXPECT_EQ(mLog.countFrom(ANDROID_LOG_VERBOSE), status == OK ? 0U : 1U);
        EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "GraphicBufferMapper", ""), status == OK ? 0U : 1U);
        mLog.clear();
        return status;
    }

    plexa::LogCapture mLog;
};

TEST_F(GraphicBufferMapperTest, EachFormatHasItsKindsOfLock) {
    struct Case {
        PixelFormat format;
        status_t plain, ycbcr;
    };
    const Case cases[] = {
        {HAL_PIXEL_FORMAT_RGBA_8888, OK, BAD_VALUE},
        {HAL_PIXEL_FORMAT_YCBCR_420_888, BAD_VALUE, OK},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP, OK, OK},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, OK, OK},
        {HAL_PIXEL_FORMAT_YCBCR_P010, OK, OK},
        {HAL_PIXEL_FORMAT_YV12, OK, OK},
        {HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED, BAD_VALUE, BAD_VALUE},
        {HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED, BAD_VALUE, BAD_VALUE},
    };
    for (const auto& [format, plain, ycbcr] : cases) {
        SCOPED_TRACE(format);
        const auto buffer = allocate(format);
        EXPECT_EQ(lock(buffer->handle), plain);
        if (plain == OK) {
            EXPECT_EQ(unlock(buffer->handle), OK);
        }
        EXPECT_EQ(lockYCbCr(buffer->handle), ycbcr);
        if (ycbcr == OK) {
            EXPECT_EQ(unlock(buffer->handle), OK);
        }
        EXPECT_EQ(unlock(buffer->handle), INVALID_OPERATION);
    }
}

TEST_F(GraphicBufferMapperTest, RectangleMustLieInside) {
    const auto buffer = allocate(HAL_PIXEL_FORMAT_YCbCr_420_SP);
    for (const Rect& rect : {Rect(20, 10), Rect(19, 9, 20, 10), Rect(0, 0, 1, 1)}) {
        EXPECT_EQ(lock(buffer->handle, kCpu, rect), OK);
        EXPECT_EQ(lockYCbCr(buffer->handle, kCpu, rect), OK);
        EXPECT_EQ(unlock(buffer->handle), OK);
        EXPECT_EQ(unlock(buffer->handle), OK);
    }
    static_assert(Rect() == Rect(0, 0, -1, -1) && !Rect().isValid() && Rect(0, 0).isValid());
    const Rect outside[] = {Rect(),
                            Rect(21, 10),
                            Rect(20, 11),
                            Rect(-1, 0, 20, 10),
                            Rect(0, -1, 20, 10),
                            Rect(5, 5, 5, 10),
                            Rect(10, 0, 5, 10),
                            Rect(kMin, kMin, kMax, kMax),
                            Rect(0, 0, kMin, kMin)};
    for (const Rect& rect : outside) {
        SCOPED_TRACE(testing::Message() << rect.left << " " << rect.top << " " << rect.right);
        EXPECT_EQ(lock(buffer->handle, kCpu, rect), BAD_VALUE);
        EXPECT_EQ(lockYCbCr(buffer->handle, kCpu, rect), BAD_VALUE);
    }
}

TEST_F(GraphicBufferMapperTest, UsageMustBeOneTheBufferWasMadeFor) {
    struct Case {
        uint64_t allocated;
        uint32_t locked;
        status_t status;
    };
    const Case cases[] = {
        {kCpu, kRead, OK},
        {kCpu | GRALLOC_USAGE_HW_TEXTURE, kCpu, OK},
        {GRALLOC_USAGE_SW_READ_RARELY, kRead, OK},
        {kRead, kCpu, BAD_VALUE},
        {kWrite, kRead, BAD_VALUE},
        {GRALLOC_USAGE_HW_RENDER, kRead, BAD_VALUE},
        {kCpu, 0, BAD_VALUE},
        {kCpu | GRALLOC_USAGE_HW_RENDER, GRALLOC_USAGE_HW_RENDER, BAD_VALUE},
    };
    for (const auto& [allocated, locked, status] : cases) {
        SCOPED_TRACE(testing::Message() << allocated << " " << locked);
        const auto buffer = allocate(HAL_PIXEL_FORMAT_YV12, allocated);
        EXPECT_EQ(lockYCbCr(buffer->handle, locked), status);
        if (status == OK) {
            EXPECT_EQ(unlock(buffer->handle), OK);
        }
    }
}

TEST_F(GraphicBufferMapperTest, LocksNestAndAreCounted) {
    auto buffer = allocate(HAL_PIXEL_FORMAT_YCBCR_P010);
    EXPECT_EQ(lockYCbCr(buffer->handle), OK);
    EXPECT_EQ(lockYCbCr(buffer->handle), OK);
    EXPECT_EQ(lock(buffer->handle, kRead), OK);
    EXPECT_EQ(host::graphicsCounts().locks, 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(unlock(buffer->handle), OK);
    EXPECT_EQ(unlock(buffer->handle), INVALID_OPERATION);

    EXPECT_EQ(lock(buffer->handle), OK);
    buffer.clear();
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_WARN, "GraphicAllocation", "freed with 1 CPU lock"));
    EXPECT_EQ(host::graphicsCounts().locks, 0);
}

TEST_F(GraphicBufferMapperTest, RefusesWhatIsNoLivingBufferAndNullResults) {
    native_handle_t* foreign = native_handle_create(1, 0);
    auto buffer = allocate(HAL_PIXEL_FORMAT_YV12);
    const buffer_handle_t gone = buffer->handle;
    EXPECT_EQ(logged(mapper().lock(gone, kCpu, Rect(20, 10), nullptr)), BAD_VALUE);
    EXPECT_EQ(logged(mapper().lockYCbCr(gone, kCpu, Rect(20, 10), nullptr)), BAD_VALUE);
    buffer.clear();
    for (const buffer_handle_t handle :
         {buffer_handle_t(nullptr), buffer_handle_t(foreign), gone}) {
        EXPECT_EQ(lock(handle), BAD_VALUE);
        EXPECT_EQ(lockYCbCr(handle), BAD_VALUE);
        EXPECT_EQ(unlock(handle), BAD_VALUE);
    }
    native_handle_delete(foreign);
}

TEST_F(GraphicBufferMapperTest, ThreadsShareABufferAndTheRegister) {
    constexpr int kRounds = 500;
    const auto shared = allocate(HAL_PIXEL_FORMAT_YCbCr_420_SP);
    const auto work = [&shared] {
        android_ycbcr planes{};
        void* address = nullptr;
        for (int i = 0; i < kRounds; ++i) {
            const auto own = allocate(HAL_PIXEL_FORMAT_RGBA_8888);
            EXPECT_EQ(shared->lockYCbCr(kCpu, &planes), OK);
            EXPECT_EQ(own->lock(kCpu, &address), OK);
            EXPECT_EQ(shared->lock(kCpu, &address), OK);
            EXPECT_EQ(own->unlock(), OK);
            EXPECT_EQ(own->unlock(), INVALID_OPERATION);
            EXPECT_EQ(shared->unlock(), OK);
            EXPECT_EQ(shared->unlock(), OK);
        }
    };
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread(work);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared->unlock(), INVALID_OPERATION);
}

}  // namespace
}  // namespace android
