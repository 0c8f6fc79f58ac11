// APipeBuffer and its classes: memory of each kind, planes, locks, mappings, and the way home.
#include "APipeBuffer.h"

#include <gtest/gtest.h>
#include <hardware/gralloc.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>
#include <host/LooperScheduler.h>
#include <host/SharedMemory.h>
#include <media/stagefright/foundation/ALooper.h>
#include <sys/mman.h>
#include <system/graphics.h>

#include <string>
#include <vector>

#include "APipeBufferFactory.h"
#include "support/LogCapture.h"

namespace android {
namespace {

constexpr uint32_t kCpu = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;
constexpr int kWidth = 20;
constexpr int kHeight = 10;

using Memory = APipeBuffer::MemoryType;

struct Planes {
    uint8_t* y = nullptr;
    uint8_t* cb = nullptr;
    uint8_t* cr = nullptr;
};

class BufferTest : public testing::Test {
protected:
    ~BufferTest() override {
        host::FaultInjection::clear();
        EXPECT_EQ(host::graphicsCounts(), host::GraphicsCounts());
    }

    static sp<APipeBuffer> wrap(APipeBuffer::ColorFormat format, Memory memory,
                                const sp<GraphicBuffer>& graphic = nullptr,
                                const sp<APipeBuffer::IMemory>& region = nullptr, int stride = -1) {
        return APipeBufferFactory::Create(format, kWidth, kHeight, graphic, region, memory, stride,
                                          -1);
    }
    static sp<GraphicBuffer> allocate(PixelFormat format) {
        return sp<GraphicBuffer>::make(kWidth, kHeight, format, 1U, kCpu, "test");
    }
    static Planes planesOf(const sp<APipeBuffer>& buffer) {
        Planes planes;
        EXPECT_EQ(buffer->getYCbCr(&planes.y, &planes.cb, &planes.cr), OK);
        return planes;
    }

    plexa::LogCapture mLog;
};

// Offsets from the first byte; -1 for a plane that the format does not have.
struct Layout {
    APipeBuffer::ColorFormat format;
    int stride, elevation, size;
    ptrdiff_t cb, cr;
};
const Layout kLayouts[] = {
    {APipeBuffer::Yuv420p, 32, 10, 480, 320, 400},
    {APipeBuffer::Nv12, 32, 10, 480, 320, 321},
    {APipeBuffer::Yv12, 32, 10, 480, 400, 320},
    {APipeBuffer::P010, 256, 32, 12288, 8192, 8194},
    {APipeBuffer::P010Venus, 256, 32, 12288, 8192, 8194},
    {APipeBuffer::Nv12Venus, 128, 32, 8192, 4096, 4097},
    {APipeBuffer::Rgba8888, 32, 10, 1280, -1, -1},
};

TEST_F(BufferTest, LaysItsPlanesOutInHeapAndSharedMemory) {
    for (const Layout& l : kLayouts) {
        for (const Memory memory : {APipeBuffer::LocalMemory, APipeBuffer::HidlMemory}) {
            SCOPED_TRACE(testing::Message() << l.format << " in memory " << memory);
            const bool shared = memory == APipeBuffer::HidlMemory;
            const auto region = shared ? host::makeSharedMemory(l.size) : nullptr;
            const auto buffer = wrap(l.format, memory, nullptr, region);
            EXPECT_EQ(buffer->getSize(), 0);
            ASSERT_EQ(buffer->init(), OK);
            EXPECT_EQ(buffer->getColorFormat(), l.format);
            EXPECT_EQ(buffer->getStride(), l.stride);
            EXPECT_EQ(buffer->getElevation(), l.elevation);
            EXPECT_EQ(buffer->getSize(), l.size);
            EXPECT_EQ(buffer->getCStride(), -1);
            const Planes planes = planesOf(buffer);
            if (shared) {
                EXPECT_EQ(planes.y, static_cast<void*>(region->getPointer()));
            } else {
                EXPECT_EQ(planes.y, buffer->getLocalBuffer()->data());
                EXPECT_EQ(buffer->getLocalBuffer()->capacity(), static_cast<size_t>(l.size));
            }
            EXPECT_EQ(planes.cb, l.cb < 0 ? nullptr : planes.y + l.cb);
            EXPECT_EQ(planes.cr, l.cr < 0 ? nullptr : planes.y + l.cr);

            EXPECT_EQ(buffer->init(), OK);
            EXPECT_EQ(planesOf(buffer).y, planes.y);
        }
    }
    EXPECT_EQ(mLog.lines().size(), 2 * std::size(kLayouts));  // "already initialized"
    EXPECT_EQ(mLog.count(ANDROID_LOG_INFO, "APipeBufferNv12", "init() already initialized"), 2U);
}

TEST_F(BufferTest, RefusesMemoryThatDoesNotFit) {
    const auto small = host::makeSharedMemory(479);
    struct Case {
        sp<APipeBuffer> buffer;
        std::string tag, text;
    };
    for (const Case& c : {
             Case{wrap(APipeBuffer::Nv12, APipeBuffer::HidlMemory, nullptr, small),
                  "APipeBufferNv12", "init() failed memory size 479, calculated size 480"},
             Case{wrap(APipeBuffer::Yv12, APipeBuffer::HidlMemory), "APipeBufferYv12",
                  "init() failed IMemory is nullptr"},
             Case{wrap(APipeBuffer::P010, static_cast<Memory>(3)), "APipeBufferP010",
                  "init() unknown memoryType 3"},
             Case{wrap(APipeBuffer::Nv12, APipeBuffer::GraphicMemory), "APipeBuffer",
                  "lock() failed GraphicBuffer is nullptr"},
             Case{wrap(APipeBuffer::Rgba8888, APipeBuffer::GraphicMemory), "APipeBufferRgba8888",
                  "lock() failed GraphicBuffer is nullptr"},
             Case{wrap(APipeBuffer::Nv12Ubwc, APipeBuffer::LocalMemory), "APipeBufferNv12Ubwc",
                  "init() not supported memory type 2"},
             Case{wrap(APipeBuffer::Tp10Ubwc, APipeBuffer::InvalidMemory), "APipeBufferTp10Ubwc",
                  "init() unknown memoryType -1"},
             Case{wrap(APipeBuffer::Tp10Ubwc, APipeBuffer::GraphicMemory), "APipeBufferTp10Ubwc",
                  "init() failed GraphicBuffer is nullptr"},
         }) {
        SCOPED_TRACE(c.text);
        Planes planes;
        EXPECT_EQ(c.buffer->init(), UNKNOWN_ERROR);
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, c.tag, c.text));
        EXPECT_EQ(c.buffer->getYCbCr(&planes.y, &planes.cb, &planes.cr), UNKNOWN_ERROR);
    }
    EXPECT_EQ(wrap(APipeBuffer::Reserved7, APipeBuffer::LocalMemory), nullptr);
    EXPECT_TRUE(
        mLog.contains(ANDROID_LOG_ERROR, "APipeBufferFactory", "Create unknown color format 7"));
    const auto empty = APipeBufferFactory::Create(APipeBuffer::Nv12Venus, 0, 10, nullptr, nullptr,
                                                  APipeBuffer::LocalMemory, -1, -1);
    EXPECT_EQ(empty->init(), UNKNOWN_ERROR);
}

TEST_F(BufferTest, TakesStridesAndPlanesOfALockedGraphicBuffer) {
    struct Case {
        APipeBuffer::ColorFormat format;
        PixelFormat pixels;
        int rowUnits;  // of APipeBuffer's stride in a pixel of the allocator's
    };
    for (const Case& c : {Case{APipeBuffer::Nv12, HAL_PIXEL_FORMAT_YCbCr_420_SP, 1},
                          Case{APipeBuffer::Nv12Venus, HAL_PIXEL_FORMAT_YCbCr_420_SP_VENUS, 1},
                          Case{APipeBuffer::P010, HAL_PIXEL_FORMAT_YCBCR_P010, 2},
                          Case{APipeBuffer::Yv12, HAL_PIXEL_FORMAT_YV12, 1},
                          Case{APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, 1}}) {
        SCOPED_TRACE(c.format);
        const auto graphic = allocate(c.pixels);
        const auto buffer = wrap(c.format, APipeBuffer::GraphicMemory, graphic);
        ASSERT_EQ(buffer->init(), OK);
        const int stride = static_cast<int>(graphic->getStride()) * c.rowUnits;
        EXPECT_EQ(buffer->getStride(), stride);
        const int plane = stride * buffer->getElevation();
        if (c.format == APipeBuffer::Rgba8888) {
            EXPECT_EQ(stride, 64);  // the allocator's, not the 32 of the rule
            EXPECT_EQ(buffer->getSize(), 4 * plane);
        } else if (c.format != APipeBuffer::Nv12Venus) {
            EXPECT_EQ(buffer->getSize(), plane * 3 / 2);
        } else {
            EXPECT_EQ(buffer->getSize() % 4096, 0);
            EXPECT_GE(buffer->getSize(), plane * 3 / 2);
        }
        EXPECT_EQ(buffer->getCStride() > 0, c.format != APipeBuffer::Rgba8888);
        // One lock, whatever is asked; unlocked and locked anew it sees the same pixels.
        const Planes planes = planesOf(buffer);
        EXPECT_EQ(buffer->lock(), OK);
        EXPECT_EQ(host::graphicsCounts().locks, 1);
        *planes.y = 0x5a;
        buffer->unlock();
        buffer->unlock();
        EXPECT_EQ(host::graphicsCounts().locks, 0);
        EXPECT_EQ(buffer->lock(), OK);
        EXPECT_EQ(*planesOf(buffer).y, 0x5a);
    }
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_INFO), 0U);
}

TEST_F(BufferTest, LocksNothingButLinearGraphicMemory) {
    const auto ubwc = wrap(APipeBuffer::Nv12Ubwc, APipeBuffer::GraphicMemory,
                           allocate(HAL_PIXEL_FORMAT_YCbCr_420_SP_COMPRESSED));
    const auto local = wrap(APipeBuffer::Rgba8888, APipeBuffer::LocalMemory);
    for (const auto& buffer : {ubwc, local}) {
        ASSERT_EQ(buffer->init(), OK);
        EXPECT_EQ(buffer->lock(), OK);
        EXPECT_EQ(host::graphicsCounts().locks, 0);
        buffer->unlock();
    }
    EXPECT_EQ(ubwc->getSize(), -1);
    EXPECT_EQ(planesOf(ubwc).y, nullptr);
}

TEST_F(BufferTest, TellsWhenALockFails) {
    for (const auto& [format, pixels, tag, text] :
         {std::tuple{APipeBuffer::Nv12, HAL_PIXEL_FORMAT_YCbCr_420_SP, "APipeBuffer",
                     "lock() lockYCbCr failed err"},
          {APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888, "APipeBufferRgba8888",
           "lock() lock failed err"}}) {
        // The allocator's stride makes more of so many rows than a size can say.
        const auto tall =
            APipeBufferFactory::Create(format, kWidth, kHeight, allocate(pixels), nullptr,
                                       APipeBuffer::GraphicMemory, 1, 1 << 27);
        EXPECT_EQ(tall->init(), UNKNOWN_ERROR);
        EXPECT_EQ(tall->lock(), UNKNOWN_ERROR);
        EXPECT_EQ(host::graphicsCounts().locks, 0);
        const auto buffer = wrap(format, APipeBuffer::GraphicMemory, allocate(pixels));
        host::FaultInjection::failNth(host::Fault::GraphicsLock, 1);
        EXPECT_EQ(buffer->init(), UNKNOWN_ERROR);
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, tag, text));
        EXPECT_EQ(buffer->init(), OK);  // the fault has passed
    }
}

TEST_F(BufferTest, MapsTheDescriptorOfAGraphicBufferOnce) {
    auto buffer =
        wrap(APipeBuffer::P010, APipeBuffer::GraphicMemory, allocate(HAL_PIXEL_FORMAT_YCBCR_P010));
    ASSERT_EQ(buffer->init(), OK);
    int fd = -1;
    uint8_t* first = nullptr;
    uint8_t* again = nullptr;
    ASSERT_EQ(buffer->getMappedParam(&fd, &first), OK);
    EXPECT_EQ(fd, buffer->getFd(0));
    EXPECT_EQ(buffer->getMappedParam(&fd, &again), OK);
    EXPECT_EQ(first, again);
    planesOf(buffer).y[5] = 77;
    EXPECT_EQ(first[5], 77);
    EXPECT_EQ(buffer->getFd(64), 0);

    unsigned char resident = 0;
    const auto isMapped = [&] { return mincore(again, 1, &resident) == 0; };
    EXPECT_TRUE(isMapped());
    buffer->unMap();
    EXPECT_FALSE(isMapped());
    ASSERT_EQ(buffer->getMappedParam(&fd, &again), OK);
    buffer.clear();
    EXPECT_FALSE(isMapped());
}

TEST_F(BufferTest, MapsNothingElse) {
    int fd = -1;
    uint8_t* address = nullptr;
    const auto local = wrap(APipeBuffer::Nv12, APipeBuffer::LocalMemory);
    EXPECT_EQ(local->getMappedParam(&fd, &address), UNKNOWN_ERROR);
    local->unMap();
    ASSERT_EQ(local->init(), OK);
    EXPECT_EQ(local->getMappedParam(&fd, &address), UNKNOWN_ERROR);
    local->unMap();
    EXPECT_EQ(local->getFd(0), -1);
    const auto ubwc = wrap(APipeBuffer::Tp10Ubwc, APipeBuffer::GraphicMemory,
                           allocate(HAL_PIXEL_FORMAT_YCbCr_420_TP10_COMPRESSED));
    ASSERT_EQ(ubwc->init(), OK);
    EXPECT_EQ(ubwc->getMappedParam(&fd, &address), UNKNOWN_ERROR);  // its size is not known
    for (const char* text :
         {"getMappedParam failed, it has not been initialized",
          "unMap failed, it has not been initialized",
          "getMappedParam failed, only GraphicBuffer is supported",
          "unMap failed, only GraphicBuffer is supported",
          "getFd failed, only GraphicBuffer is supported", "getMappedParam mmap failed"}) {
        EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeBuffer", text), 1U) << text;
    }
}

// Takes buffers back, as the stage does that owns them.
class Owner : public AHandler {
public:
    std::vector<sp<RefBase>> mReturned;

private:
    void onMessageReceived(const sp<AMessage>& msg) override {
        sp<RefBase> buffer;
        int32_t generation = 0;
        if (msg->what() != 5 || !msg->findInt32("generation", &generation)) return;
        if (msg->findObject("buffer", &buffer)) mReturned.push_back(buffer);
    }
};

class BufferReleaseTest : public BufferTest {
protected:
    BufferReleaseTest() {
        mLooper->start();
        mLooper->registerHandler(mOwner);
        const sp<AMessage> reply = new AMessage(5, mOwner);
        reply->setInt32("generation", 1);
        mBuffer->getMeta()->setMessage("reply", reply);
    }

    host::LooperScheduler mScheduler{1};
    sp<Owner> mOwner = new Owner();
    sp<ALooper> mLooper = new ALooper();
    sp<APipeBuffer> mBuffer = wrap(APipeBuffer::Nv12, APipeBuffer::LocalMemory);
};

TEST_F(BufferReleaseTest, NoReplyKeepsItsBufferHoweverItEnds) {
    const auto isHeldOnlyHere = [&] {
        mBuffer->release();
        mScheduler.runUntilIdle();
        if (mOwner != nullptr) mOwner->mReturned.clear();
        return mBuffer->getStrongCount() == 1;
    };
    EXPECT_TRUE(isHeldOnlyHere());
    mLooper->stop();
    mBuffer->release();
    mLooper.clear();
    EXPECT_TRUE(isHeldOnlyHere()) << "looper gone, with what it was given when it had stopped";
    mOwner.clear();
    EXPECT_TRUE(isHeldOnlyHere()) << "owner gone";
}

}  // namespace
}  // namespace android
