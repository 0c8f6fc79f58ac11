// APipeBufferPool: what it hands out, what it takes back, and what a flush leaves.
#include "APipeBufferPool.h"

#include <gtest/gtest.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

namespace android {
namespace {

using Ids = std::vector<int32_t>;

class PoolTest : public testing::Test {
protected:
    ~PoolTest() override {
        host::FaultInjection::clear();
        mPool.clear();
        EXPECT_EQ(host::graphicsCounts(), host::GraphicsCounts());
    }

    status_t init(int count, bool useWaitBufferPool,
                  APipeBuffer::ColorFormat format = APipeBuffer::Nv12,
                  APipeBuffer::MemoryType memory = APipeBuffer::LocalMemory) {
        return mPool->init(count, 20, 10, format, memory, useWaitBufferPool);
    }
    static int32_t idOf(const sp<APipeBuffer>& buffer) {
        int32_t id = -1;
        if (buffer != nullptr) buffer->getMeta()->findInt32("id", &id);
        return id;
    }
    // As a stage takes a buffer and gives it back.
    sp<APipeBuffer> take() {
        const auto buffer = mPool->acquireBuffer(false);
        if (buffer != nullptr) buffer->getMeta()->setMessage("reply", new AMessage());
        return buffer;
    }
    // What the holder makes of the id, before and after, is not believed.
    void giveBack(const sp<APipeBuffer>& buffer, int64_t timeUs) {
        buffer->getMeta()->setInt64("timeUs", timeUs);
        buffer->getMeta()->setInt32("id", 99);
        mPool->returnBuffer(buffer);
        buffer->getMeta()->setInt32("id", 98);
    }
    // Takes all that is left, held back or available, and tells the ids.
    Ids drain(bool wait) {
        Ids ids;
        while (const auto buffer = mPool->acquireBuffer(wait))
            ids.push_back(idOf(buffer));
        return ids;
    }
    bool flushCounted(int available) {
        mPool->flush();
        return mLog.contains(ANDROID_LOG_INFO, "APipeBufferPool",
                             "flush done mAvailableBuffers " + std::to_string(available) +
                                 ", mBuffersInUse 0 mBuffersInWait 0");
    }

    plexa::LogCapture mLog;
    sp<APipeBufferPool> mPool = new APipeBufferPool();
};

TEST_F(PoolTest, AllocatesWhatItIsAskedFor) {
    EXPECT_EQ(init(64, false), OK);
    EXPECT_EQ(drain(false).size(), 64U);
    EXPECT_EQ(init(0, false), OK);
    EXPECT_EQ(drain(false), Ids());
    EXPECT_EQ(init(0, true), OK);
    EXPECT_EQ(drain(true), Ids({0, 1}));
    EXPECT_EQ(init(4, true), OK);
    EXPECT_EQ(drain(false), Ids({0, 1, 2, 3, 4, 5}));
    for (const auto format : {APipeBuffer::P010, APipeBuffer::P010Venus, APipeBuffer::Nv12Venus,
                              APipeBuffer::Rgba8888}) {
        EXPECT_EQ(init(3, false, format, APipeBuffer::GraphicMemory), OK) << format;
        EXPECT_EQ(host::graphicsCounts().buffers, 3) << "those before are gone";
        EXPECT_EQ(mPool->acquireBuffer(false)->getColorFormat(), format);
    }
    mPool->release();
    EXPECT_EQ(drain(false), Ids());
}

TEST_F(PoolTest, RefusesWhatItCannotAllocate) {
    struct Case {
        int count;
        APipeBuffer::ColorFormat format;
        int memory;
        int priority;
        std::string text;
    };
    for (const Case& c : {
             Case{65, APipeBuffer::Nv12, 2, ANDROID_LOG_WARN,
                  "init() requested bufferCount 65 is bigger than kMaxBufferCount 64"},
             Case{-1, APipeBuffer::Nv12, 2, ANDROID_LOG_ERROR, "bufferCount -1"},
             Case{2, APipeBuffer::Nv12, 1, ANDROID_LOG_WARN, "init() unsupported MemoryType 1"},
             Case{2, APipeBuffer::Nv12, -1, ANDROID_LOG_WARN, "init() unsupported MemoryType -1"},
             Case{2, APipeBuffer::Nv12, 0, ANDROID_LOG_ERROR, "init() undefined colorformat 2"},
             Case{2, APipeBuffer::Nv12, 3, 0, ""},
             Case{2, APipeBuffer::Reserved8, 2, 0, ""},
         }) {
        SCOPED_TRACE(c.text);
        mLog.clear();
        EXPECT_EQ(init(c.count, false, c.format, static_cast<APipeBuffer::MemoryType>(c.memory)),
                  UNKNOWN_ERROR);
        const bool silent = c.text.empty();
        EXPECT_EQ(mLog.count(c.priority, "APipeBufferPool", c.text), silent ? 0U : 1U);
        mPool->flush();
        EXPECT_EQ(drain(false), Ids());
    }
    EXPECT_EQ(mPool->init(1, -5, 10, APipeBuffer::P010, APipeBuffer::GraphicMemory, false),
              UNKNOWN_ERROR);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "APipeBufferPool",
                              "init() failed to create GraphicBuffer"));
    EXPECT_FALSE(flushCounted(0));
}

TEST_F(PoolTest, AFailedInitLeavesWhatItMade) {
    host::FaultInjection::failNth(host::Fault::GraphicsAllocate, 3);
    EXPECT_EQ(init(4, false, APipeBuffer::P010, APipeBuffer::GraphicMemory), UNKNOWN_ERROR);
    EXPECT_EQ(drain(false), Ids({0, 1}));
}

TEST_F(PoolTest, KeepsOnlyItsOwnKeysInAReturnedBuffer) {
    ASSERT_EQ(init(1, false), OK);
    for (const bool timed : {false, true}) {
        const auto buffer = take();
        buffer->getMeta()->setInt32("eos", 1);
        buffer->getMeta()->setInt32("buffer-for-seek", 1);
        if (timed) buffer->getMeta()->setInt64("timeUs", 7);
        mPool->returnBuffer(buffer);
        EXPECT_EQ(buffer->getMeta()->countEntries(), timed ? 3U : 2U);
        EXPECT_EQ(idOf(buffer), 0);
        EXPECT_TRUE(buffer->getMeta()->contains("reply"));
        EXPECT_EQ(buffer->getMeta()->contains("timeUs"), timed);
    }
}

TEST_F(PoolTest, RefusesBuffersThatAreNotItsOwn) {
    ASSERT_EQ(init(2, true), OK);
    mPool->returnBuffer(nullptr);
    const auto noReply = mPool->acquireBuffer(false);
    mPool->returnBuffer(noReply);
    const auto noId = take();
    noId->getMeta()->clear();
    noId->getMeta()->setMessage("reply", new AMessage());
    mPool->returnBuffer(noId);
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_ERROR), 3U);

    const auto former = take();
    ASSERT_EQ(init(2, false), OK);
    mPool->returnBuffer(former);
    mPool->returnWaitBuffer();
    EXPECT_EQ(mLog.countFrom(ANDROID_LOG_WARN), 5U);
    EXPECT_EQ(drain(false), Ids({0, 1}));
}

TEST_F(PoolTest, TakesABufferBackOnceHoweverOftenItIsReturned) {
    ASSERT_EQ(init(2, false), OK);
    const auto free = take();
    mPool->returnBuffer(free);
    mPool->returnBuffer(free);
    EXPECT_EQ(drain(false), Ids({0, 1}));

    ASSERT_EQ(init(1, true), OK);
    const auto held = take();
    const auto other = take();
    giveBack(held, 5);
    giveBack(held, 6);
    giveBack(other, 5);
    EXPECT_EQ(drain(false), Ids({2}));
    EXPECT_EQ(drain(true), Ids({1, 0}));
}

TEST_F(PoolTest, HoldsTheTwoLatestTimesBack) {
    ASSERT_EQ(init(4, true), OK);
    const sp<APipeBuffer> taken[] = {take(), take(), take(), take()};
    giveBack(taken[0], 100);
    giveBack(taken[2], 300);
    giveBack(taken[1], 200);
    mPool->returnBuffer(taken[3]);  // without a time, and so not held back
    EXPECT_EQ(mPool->acquireBuffer(true), taken[1]);
    EXPECT_EQ(drain(false), Ids({0, 3, 4, 5}));
    EXPECT_EQ(mPool->acquireBuffer(true), taken[2]);
    EXPECT_EQ(mPool->acquireBuffer(true), nullptr);
}

TEST_F(PoolTest, FreesHeldBackBuffers) {
    ASSERT_EQ(init(2, true), OK);
    const sp<APipeBuffer> taken[] = {take(), take(), take(), take()};
    giveBack(taken[1], 100);
    giveBack(taken[2], 100);  // the same time: the earlier one is free
    EXPECT_EQ(drain(false), Ids({1}));
    mPool->returnWaitBuffer();
    mPool->returnWaitBuffer();
    EXPECT_EQ(drain(false), Ids({2}));
    giveBack(taken[3], 50);
    EXPECT_TRUE(flushCounted(4));
    EXPECT_EQ(drain(true), Ids({0, 1, 2, 3}));
}

// What a flush makes available while somebody reads it is never handed out again, and that
// somebody's reply cannot bring a buffer in use back.
TEST_F(PoolTest, AFlushedBufferThatIsStillReadIsReplaced) {
    for (const auto memory : {APipeBuffer::LocalMemory, APipeBuffer::GraphicMemory}) {
        ASSERT_EQ(init(2, false, APipeBuffer::P010, memory), OK);
        const auto read = take();
        sp<APipeBuffer> other = take();
        const void* const home = other.get();
        other->getMeta()->setBuffer("frameMeta", new ABuffer(1));
        other.clear();
        EXPECT_TRUE(flushCounted(2));

        const auto fresh = take();
        EXPECT_NE(fresh, read);
        EXPECT_EQ(idOf(fresh), 0);
        EXPECT_EQ(fresh->getSize(), read->getSize());
        other = take();
        EXPECT_EQ(other.get(), home) << "nobody held this one";
        EXPECT_FALSE(other->getMeta()->contains("frameMeta")) << "nor returned and cleared it";

        mPool->returnBuffer(read);
        EXPECT_EQ(mPool->acquireBuffer(false), nullptr);
        mPool->returnBuffer(fresh);
        EXPECT_EQ(take(), fresh) << "only a flush makes a holder suspect";
        EXPECT_EQ(read->getStrongCount(), 1) << "its memory goes with its reader";
    }
}

// The thread sanitizer sees whether a reader that has let go is really done before the writer.
TEST_F(PoolTest, AFlushedBufferIsReusedOnlyAfterItsReader) {
    ASSERT_EQ(init(1, false), OK);
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> gone = false;
        size_t sum = 0;
        std::thread reader([buffer = take(), &gone, &sum]() mutable {
            for (int i = 0; i < buffer->getSize(); ++i)
                sum += buffer->getLocalBuffer()->data()[i];
            sum += buffer->getMeta()->countEntries();
            buffer.clear();
            gone.store(true, std::memory_order_relaxed);
        });
        mPool->flush();
        while (round % 2 == 0 && !gone.load(std::memory_order_relaxed))
            std::this_thread::yield();
        const auto buffer = take();
        std::memset(buffer->getLocalBuffer()->data(), round, buffer->getLocalBuffer()->size());
        mPool->returnBuffer(buffer);
        reader.join();
    }
}

TEST_F(PoolTest, AFailedReplacementIsTriedAgain) {
    ASSERT_EQ(init(2, false, APipeBuffer::Rgba8888, APipeBuffer::GraphicMemory), OK);
    auto read = take();
    mPool->flush();
    host::FaultInjection::failNth(host::Fault::GraphicsAllocate, 1);
    EXPECT_EQ(idOf(take()), 1);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "APipeBufferPool",
                              "acquireBuffer() cannot replace buffer 0"));
    const void* const object = read.get();
    read->getMeta()->clear();
    read.clear();
    const auto again = take();
    EXPECT_EQ(again.get(), object) << "the reader has let go meanwhile";
    EXPECT_EQ(idOf(again), 0) << "whatever it did to the metadata";
}

}  // namespace
}  // namespace android
