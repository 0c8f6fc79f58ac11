// GraphicBuffer: allocation, its failures, and one memory seen from every side.
#include "ui/GraphicBuffer.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>
#include <hardware/gralloc.h>
#include <host/FaultInjection.h>
#include <host/GraphicBufferPixels.h>
#include <host/GraphicsCounts.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace android {
namespace {

constexpr uint64_t kCpu = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;

sp<GraphicBuffer> allocate(uint32_t width, uint32_t height, PixelFormat format,
                           uint32_t layers = 1) {
    return sp<GraphicBuffer>::make(width, height, format, layers, kCpu, "test");
}

class GraphicBufferTest : public testing::Test {
protected:
    ~GraphicBufferTest() override {
        host::FaultInjection::clear();
        EXPECT_EQ(host::graphicsCounts(), host::GraphicsCounts());
    }

    plexa::LogCapture mLog;
};
TEST_F(GraphicBufferTest, DescriptorLockAndHardwareSeeTheSamePixels) {
    struct Case {
        PixelFormat format;
        size_t chromaStep;  // bytes
    };
    for (const auto& [format, chromaStep] :
         {Case{HAL_PIXEL_FORMAT_YCBCR_P010, 4}, Case{HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, 2},
          Case{HAL_PIXEL_FORMAT_YV12, 1}, Case{HAL_PIXEL_FORMAT_YCBCR_420_888, 2}}) {
        SCOPED_TRACE(format);
        const auto buffer = allocate(67, 19, format);
        const auto pixels = host::pixelsOf(*buffer);
        ASSERT_TRUE(pixels);
        const host::BufferLayout& layout = pixels->layout;
        android_ycbcr planes{};
        ASSERT_EQ(buffer->lockYCbCr(kCpu, &planes), OK);
        EXPECT_EQ(planes.y, pixels->base);
        EXPECT_EQ(planes.cb, pixels->base + layout.cb.offset);
        EXPECT_EQ(planes.cr, pixels->base + layout.cr.offset);
        EXPECT_EQ(planes.ystride, layout.y.stride);
        EXPECT_EQ(planes.cstride, layout.cb.stride);
        EXPECT_EQ(planes.chroma_step, chromaStep);

        auto* mapped = static_cast<uint8_t*>(mmap(nullptr, pixels->size, PROT_READ | PROT_WRITE,
                                                  MAP_SHARED, buffer->handle->data[0], 0));
        ASSERT_NE(mapped, MAP_FAILED);
        *static_cast<uint8_t*>(planes.cr) = 1;
        EXPECT_EQ(mapped[layout.cr.offset], 1);
        EXPECT_EQ(mapped[pixels->size - 1], 0);
        mapped[pixels->size - 1] = 2;
        EXPECT_EQ(pixels->base[pixels->size - 1], 2);
        munmap(mapped, pixels->size);
        EXPECT_EQ(buffer->unlock(), OK);
    }
}

// The kernel tells what it cannot read.
TEST_F(GraphicBufferTest, WhatFollowsTheMemoryIsOutOfReach) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    for (const PixelFormat format : {HAL_PIXEL_FORMAT_YV12, HAL_PIXEL_FORMAT_YCBCR_P010}) {
        const auto before = allocate(64, 64, format), buffer = allocate(64, 64, format);
        const auto pixels = host::pixelsOf(*buffer);
        EXPECT_EQ(write(ends[1], pixels->base + pixels->size - 1, 1), 1);
        EXPECT_EQ(write(ends[1], pixels->base + pixels->size, 1), -1);
        EXPECT_EQ(errno, EFAULT);
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(GraphicBufferTest, RowsAreAsLongAsAskedFor) {
    host::setRowPadding(192);
    const auto padded = allocate(70, 35, HAL_PIXEL_FORMAT_YCBCR_P010);
    host::setRowPadding(0);
    EXPECT_EQ(padded->getStride(), 128U + 96U);
    EXPECT_EQ(host::pixelsOf(*padded)->layout.cb.stride, 256U + 192U);
    EXPECT_EQ(allocate(70, 35, HAL_PIXEL_FORMAT_YCBCR_P010)->getStride(), 128U);
}

TEST_F(GraphicBufferTest, NobodyCanResizeTheMemory) {
    const auto buffer = allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    EXPECT_NE(ftruncate(buffer->handle->data[0], 0), 0);
    EXPECT_NE(ftruncate(buffer->handle->data[0], 1 << 20), 0);
}

void expectFailed(const sp<GraphicBuffer>& buffer, status_t status) {
    EXPECT_EQ(buffer->initCheck(), status);
    EXPECT_EQ(buffer->handle, nullptr);
    EXPECT_EQ(buffer->getBounds(), Rect(0, 0));
    EXPECT_EQ(buffer->getStride(), 0U);
    EXPECT_FALSE(host::pixelsOf(*buffer));
    void* address = nullptr;
    android_ycbcr planes{};
    EXPECT_EQ(buffer->lock(kCpu, Rect(1, 1), &address), BAD_VALUE);
    EXPECT_EQ(buffer->lockYCbCr(kCpu, Rect(1, 1), &planes), BAD_VALUE);
    EXPECT_EQ(buffer->unlock(), BAD_VALUE);
}

TEST_F(GraphicBufferTest, BadRequestsFailAndCanStillBeUsed) {
    const auto minusOne = static_cast<uint32_t>(-1);
    expectFailed(allocate(0, 16, HAL_PIXEL_FORMAT_RGBA_8888), BAD_VALUE);
    expectFailed(allocate(16, minusOne, HAL_PIXEL_FORMAT_YCBCR_P010), BAD_VALUE);
    expectFailed(allocate(minusOne, minusOne, HAL_PIXEL_FORMAT_YV12), BAD_VALUE);
    expectFailed(allocate(100000, 100000, HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED), BAD_VALUE);
    expectFailed(allocate(16, 16, 0x7777), BAD_VALUE);
    expectFailed(allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888, 2), BAD_VALUE);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "GraphicAllocation", "test: no buffer of"), 5U);
    EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "GraphicBuffer", "2 layers"), 1U);
    const auto longName = sp<GraphicBuffer>::make(16U, 16U, PIXEL_FORMAT_RGBA_8888 + 0, 1U, kCpu,
                                                  std::string(1000, 'n'));
    EXPECT_EQ(longName->initCheck(), OK);
}

TEST_F(GraphicBufferTest, SystemFailuresLeaveNothingBehind) {
    for (const auto fault : {host::Fault::GraphicsAllocate, host::Fault::GraphicsMap}) {
        const auto first = allocate(64, 64, HAL_PIXEL_FORMAT_RGBA_8888);
        const auto before = host::graphicsCounts();
        host::FaultInjection::failNth(fault, 2);
        const auto second = allocate(64, 64, HAL_PIXEL_FORMAT_RGBA_8888);
        const auto third = allocate(64, 64, HAL_PIXEL_FORMAT_RGBA_8888);
        EXPECT_EQ(second->initCheck(), OK);
        expectFailed(third, NO_MEMORY);
        EXPECT_EQ(host::graphicsCounts().buffers, before.buffers + 1);
        EXPECT_EQ(host::graphicsCounts().fds, before.fds + 1);
        EXPECT_EQ(allocate(64, 64, HAL_PIXEL_FORMAT_RGBA_8888)->initCheck(), OK);
    }
}

TEST_F(GraphicBufferTest, NativeFaceHoldsReferences) {
    auto buffer = allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    ANativeWindowBuffer* face = buffer->getNativeBuffer();
    EXPECT_EQ(face->common.magic, ANDROID_NATIVE_BUFFER_MAGIC);
    EXPECT_EQ(GraphicBuffer::from(face), buffer);
    EXPECT_EQ(GraphicBuffer::from(nullptr), nullptr);

    face->common.incRef(&face->common);
    buffer.clear();
    EXPECT_EQ(host::graphicsCounts().buffers, 1);
    face->common.decRef(&face->common);
    EXPECT_EQ(host::graphicsCounts().buffers, 0);
}

}  // namespace
}  // namespace android
