// A client that flushes as fast as it can while 4K frames run through decompress and scale: every
// output is one frame's, as its stamp says, and memory stays flat.
//
// PLEXA_STORM_SECONDS makes it as long as one likes; then the figures of each minute are printed.
#include <APipeCLConverter.h>
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <gtest/gtest.h>
#include <host/GraphicsCounts.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <random>

#include <kit/Deadline.h>
#include <kit/Frames.h>
#include "support/CallHandler.h"
#include "support/LogCapture.h"
#include "support/TestStage.h"

namespace plexa {
namespace {

using namespace android;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 3840, kHeight = 2160;
constexpr int kInputs = 6, kOutputs = 4;
constexpr int kKept = 2;           // inputs that wait for a flush() and follow it at once
constexpr int kMostInBetween = 4;  // the pool's two, and two that a reader still had at a flush
constexpr int kDefaultSeconds = 2;
constexpr int64_t kMostGrowth = int64_t{64} << 20;
// A sanitizer's own memory grows with every block that was ever freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsMemoryOurs = false;
#else
constexpr bool kIsMemoryOurs = true;
#endif

int64_t residentBytes() {
    int64_t size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

// One row of a stamp's frame. Neighbouring blocks of `step` samples differ by one, so that no tile
// is of one value and half the size has blocks of half as many.
std::vector<uint8_t> rowOf(int stamp, int width, int step) {
    std::vector<uint8_t> row(static_cast<size_t>(width));
    for (size_t x = 0; x < row.size(); ++x)
        row[x] = static_cast<uint8_t>(30 + 30 * stamp + int(x) / step % 2);
    return row;
}

sp<APipeBuffer> newFrame(APipeBuffer::ColorFormat format, int shrunkBy) {
    return kit::newFrame(
        {format, APipeBuffer::GraphicMemory, kWidth / shrunkBy, kHeight / shrunkBy});
}

// Calls visit(row, bytes of a row) for the rows of both planes.
template <typename Visit>
void forEachRow(const sp<APipeBuffer>& frame, Visit visit) {
    uint8_t *y = nullptr, *cb = nullptr, *cr = nullptr;
    ASSERT_EQ(frame->getYCbCr(&y, &cb, &cr), OK);
    for (int row = 0; row < frame->getHeight(); ++row)
        visit(y + row * frame->getStride());
    for (int row = 0; row < frame->getHeight() / 2; ++row)
        visit(cb + row * frame->getStride());
}

sp<APipeBuffer> stampedFrame(int stamp) {
    const auto linear = newFrame(APipeBuffer::Nv12Venus, 1);
    const auto row = rowOf(stamp, kWidth, 4);
    forEachRow(linear, [&](uint8_t* to) { std::memcpy(to, row.data(), row.size()); });
    const auto packed = newFrame(APipeBuffer::Nv12Ubwc, 1);
    const sp<AMessage> formats = new AMessage;
    formats->setMessage("src", formatOf(APipeBuffer::Nv12Venus, kWidth, kHeight));
    formats->setMessage("dst", formatOf(APipeBuffer::Nv12Ubwc, kWidth, kHeight));
    APipeCLConverter packer;
    EXPECT_EQ(packer.init(formats), OK);
    EXPECT_EQ(packer.convert(linear, packed), OK);
    return packed;
}

bool isWholly(const sp<APipeBuffer>& frame, int stamp) {
    const auto row = rowOf(stamp, frame->getWidth(), 2);
    bool isWhole = true;
    forEachRow(frame, [&](const uint8_t* from) {
        isWhole = isWhole && std::memcmp(from, row.data(), row.size()) == 0;
    });
    return isWhole;
}

// The chain's client. An id's buffer is free, or in the chain since a flush with a number.
class Storm {
public:
    Storm() {
        mLooper->start();
        mLooper->registerHandler(mHandler);
        for (int id = 0; id < kInputs; ++id)
            mInputs.push_back({stampedFrame(id)});
        for (int id = 0; id < kOutputs; ++id)
            mOutputs.push_back({newFrame(APipeBuffer::Nv12Venus, 2)});
        mScale = new APipeScale(nullptr, new AMessage(0, mHandler));
        mDecompress = new APipeDecompress(mScale, new AMessage(0, mHandler));
        mScale->setItemGenerator(new APipeItemGenerator("scale"));
        mDecompress->setItemGenerator(new APipeItemGenerator("decompress"));
        EXPECT_EQ(mDecompress->init(formatOf(APipeBuffer::Nv12Ubwc, kWidth, kHeight),
                                    formatOf(APipeBuffer::Nv12Venus, kWidth / 2, kHeight / 2)),
                  OK);
        EXPECT_TRUE(waitUntil([this] { return mIsRunning; }));
    }
    ~Storm() {
        mDecompress->release();
        EXPECT_TRUE(waitUntil([this] { return !mIsRunning; }));
        mLooper->stop();
    }

    // Queues what is free, waits for so many frames, flushes that often, and queues what was kept
    // at once.
    [[nodiscard]] bool flushAfter(uint64_t frames, int times) {
        const uint64_t goal = shown() + frames;
        queueOutputs();
        queueInputs(kKept);
        if (!waitUntil([&] { return mShown >= goal; })) return false;
        {
            const std::lock_guard lock(mLock);
            mFlushes += static_cast<uint64_t>(times);
            mFirstAfter = mNextFrame;
        }
        for (int i = 0; i < times; ++i)
            mDecompress->flush();
        queueInputs(0);
        return waitUntil([&] { return mFlushesDone == mFlushes; });
    }

    uint64_t flushes() const { return locked(mFlushesDone); }
    uint64_t shown() const { return locked(mShown); }
    uint64_t torn() const { return locked(mTorn); }
    uint64_t stale() const { return locked(mStale); }
    bool hasFailed() const { return locked(mHasFailed); }

private:
    struct Slot {
        sp<APipeBuffer> buffer;
        bool isFree = true;
        uint64_t since = 0;
    };

    template <typename T>
    T locked(const T& value) const {
        const std::lock_guard lock(mLock);
        return value;
    }
    template <typename Condition>
    bool waitUntil(Condition condition) {
        std::unique_lock lock(mLock);
        return mChanged.wait_for(lock, kit::kDeadline, [&] { return condition() || mHasFailed; }) &&
               !mHasFailed;
    }

    void queueInputs(int kept) {
        const std::lock_guard lock(mLock);
        auto free = std::count_if(mInputs.begin(), mInputs.end(),
                                  [](const Slot& slot) { return slot.isFree; });
        for (size_t id = 0; id < mInputs.size() && free > kept; ++id) {
            if (!mInputs[id].isFree) continue;
            mInputs[id].buffer->getMeta()->setInt64(
                "timeUs", static_cast<int64_t>(mNextFrame++ * kInputs + id));
            queue(mDecompress, mInputs, &APipeItem::mInput, id);
            --free;
        }
    }
    void queueOutputs() {
        const std::lock_guard lock(mLock);
        for (size_t id = 0; id < mOutputs.size(); ++id) {
            if (mOutputs[id].isFree) queue(mScale, mOutputs, &APipeItem::mOutput, id);
        }
    }
    void queue(const sp<APipe>& pipe, std::vector<Slot>& slots, sp<APipeBuffer> APipeItem::*role,
               size_t id) {
        const sp<APipeItem> item = new APipeItem;
        (*item).*role = slots[id].buffer;
        slots[id].buffer->getMeta()->setInt32("bufferId", static_cast<int32_t>(id));
        slots[id].isFree = false;
        slots[id].since = mFlushes;
        if (pipe->queueItem(item) != OK) mHasFailed = true;
    }

    void hear(const AMessage& notice) {
        int32_t what = 0, id = 0, flag = 0;
        int64_t timeUs = 0;
        notice.findInt32("what", &what);
        notice.findInt32("bufferId", &id);
        notice.findInt32("flag", &flag);
        notice.findInt64("timeUs", &timeUs);
        const bool isFrame = what == APipe::kWhatOutputBufferDone && flag != 0;
        const int stamp = static_cast<int>(timeUs % kInputs);
        const bool isTorn = isFrame && !isWholly(mOutputs[static_cast<size_t>(id)].buffer, stamp);
        const std::lock_guard lock(mLock);
        if (isFrame) {
            ++mShown;
            mTorn += isTorn;
            mStale += static_cast<uint64_t>(timeUs / kInputs) < mFirstShowable;
        }
        if (what == APipe::kWhatInputBufferDone) mInputs[static_cast<size_t>(id)].isFree = true;
        if (what == APipe::kWhatOutputBufferDone) mOutputs[static_cast<size_t>(id)].isFree = true;
        if (what == APipe::kWhatFlushCompleted) takeBack();
        if (what == APipe::kWhatInitCompleted) mIsRunning = true;
        if (what == APipe::kWhatReleaseCompleted) mIsRunning = false;
        if (what == APipe::kWhatError) mHasFailed = true;
        mChanged.notify_all();
    }
    void takeBack() {
        ++mFlushesDone;
        mFirstShowable = mFirstAfter;
        for (auto* slots : {&mInputs, &mOutputs}) {
            for (Slot& slot : *slots)
                slot.isFree = slot.isFree || slot.since < mFlushesDone;
        }
    }

    const LogCapture mLog{ANDROID_LOG_ERROR};
    mutable std::mutex mLock;  // guards what follows down to mHasFailed
    std::condition_variable mChanged;
    std::vector<Slot> mInputs, mOutputs;
    uint64_t mNextFrame = 0, mFirstAfter = 0, mFirstShowable = 0;
    uint64_t mFlushes = 0, mFlushesDone = 0, mShown = 0, mTorn = 0, mStale = 0;
    bool mIsRunning = false, mHasFailed = false;
    const sp<ALooper> mLooper = new ALooper;
    const sp<CallHandler> mHandler = new CallHandler([this](const auto& msg) { hear(*msg); });
    sp<APipe> mScale, mDecompress;
};

TEST(FlushStormTest, NoFrameIsTornAndMemoryStaysFlat) {
    const char* const wanted = std::getenv("PLEXA_STORM_SECONDS");
    const int seconds = wanted != nullptr ? std::atoi(wanted) : kDefaultSeconds;
    Storm storm;
    std::mt19937 random(7);
    const auto start = Clock::now(), end = start + std::chrono::seconds(seconds);
    const auto warmedUp = start + std::chrono::milliseconds(250 * seconds);
    auto nextLine = start;
    int64_t resident = 0, mostResident = 0, mostBuffers = 0;
    while (Clock::now() < end && !HasFailure()) {
        // Most flushes meet frames on their way; some let a few come out.
        const uint64_t frames = random() % 4 == 0 ? 1 + random() % 3 : 0;
        ASSERT_TRUE(storm.flushAfter(frames, 1 + static_cast<int>(random() % 4)));
        ASSERT_EQ(storm.torn() + storm.stale(), 0U);
        mostBuffers = std::max(mostBuffers, host::graphicsCounts().buffers);
        if (Clock::now() < warmedUp) {
            resident = residentBytes();
        } else {
            mostResident = std::max(mostResident, residentBytes());
        }
        if (Clock::now() < nextLine) continue;
        nextLine += std::chrono::minutes(1);
        std::cout << std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count()
                  << " s: " << storm.flushes() << " flushes, " << storm.shown() << " frames, "
                  << storm.torn() << " torn, resident " << (residentBytes() >> 20) << " MiB\n";
    }
    std::cout << storm.flushes() << " flushes, " << storm.shown() << " frames, " << storm.torn()
              << " torn, resident " << (residentBytes() >> 20) << " MiB, at most " << mostBuffers
              << " graphics buffers\n";
    EXPECT_GT(storm.shown(), 0U);
    EXPECT_LE(mostBuffers, kInputs + kOutputs + kMostInBetween);
    EXPECT_TRUE(!kIsMemoryOurs || mostResident - resident <= kMostGrowth);
}

}  // namespace
}  // namespace plexa
