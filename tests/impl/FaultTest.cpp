// Faults on order: what the client hears, where the buffers go, and how the chain goes on.
#include <APipeScale.h>
#include <host/FaultInjection.h>
#include <host/GraphicsCounts.h>

#include <array>
#include <map>

#include "support/ScheduledTest.h"
#include "support/VexcolorPath.h"

namespace android {
namespace {

using host::Fault;
using host::FaultInjection;
using plexa::ClientHandler;
using plexa::formatOf;
using plexa::inputItem;
using plexa::kFrameHeight;
using plexa::kFrameWidth;
using plexa::LogCapture;
using plexa::outputItem;
using plexa::TestStage;

constexpr int kStages = 3;
constexpr int kPool = 2;  // graphics buffers of each stage but the last
constexpr int kFrames = 3;
constexpr uint64_t kSeeds = 5;

uint8_t* pixelsOf(const sp<APipeBuffer>& buffer) {
    uint8_t *y = nullptr, *cb = nullptr, *cr = nullptr;
    EXPECT_EQ(buffer->getYCbCr(&y, &cb, &cr), OK);
    return y;
}

// Has the engine of a stage fail, once, at a frame: itself, or for a lock that fails.
struct EngineFault {
    int stage = -1;
    int frame = 0;
    bool isLock = false;
};

// A chain whose engines lock their buffers and hand a stamp on, with a client.
class Life {
public:
    Life() {
        for (int i = kStages - 1; i >= 0; --i) {
            mStages[i] = new TestStage(i + 1 < kStages ? mStages[i + 1] : nullptr,
                                       mClient->notify(), std::string(1, char('A' + i)), kPool);
            mStages[i]->mPoolFormat = APipeBuffer::Rgba8888;
            mStages[i]->mEngine = [this, i](const APipeItem& item) { return work(i, item); };
        }
    }
    ~Life() { FaultInjection::clear(); }

    status_t init() const {
        const sp<AMessage> format = formatOf(APipeBuffer::Nv12, kFrameWidth, kFrameHeight);
        return mStages[0]->init(format, format);
    }
    // Queues frames one after the other, and lets `settle` run the chain after each.
    template <typename Settle>
    void sendFrames(Settle settle, bool withOutputs = true) {
        for (int i = 0; i < kFrames; ++i) {
            const int32_t id = ++mLastId;
            const sp<APipeItem> input = inputItem(id, 100 * id), output = outputItem(id);
            *pixelsOf(input->mInput) = static_cast<uint8_t>(id);
            mOutputs[id] = output->mOutput;
            if (withOutputs) last()->queueItem(output);
            if (first()->queueItem(input) != OK) ++mRefused;
            settle();
        }
    }
    // Frames that came out since forget(), each with its stamp in the output queued with it.
    int frames() const {
        int count = 0;
        for (const auto& notice : mClient->notices()) {
            if (notice.what != APipe::kWhatOutputBufferDone) continue;
            if (notice.flag != APipe::kBufferWithFrame) continue;
            EXPECT_EQ(notice.timeUs, 100 * notice.bufferId);
            EXPECT_EQ(*pixelsOf(mOutputs.at(notice.bufferId)), notice.bufferId);
            ++count;
        }
        return count;
    }
    int heard(int32_t what) const { return static_cast<int>(mClient->count(what)); }
    int refused() const { return mRefused; }
    void forget() {
        mClient->forget();
        mRefused = 0;
    }
    const sp<TestStage>& first() const { return mStages.front(); }
    const sp<TestStage>& last() const { return mStages.back(); }
    const sp<TestStage>& stage(int i) const { return mStages[i]; }
    size_t freeBuffers(int i) const { return mStages[i]->freeBuffers(); }

    EngineFault mFault;
    sp<ClientHandler> mClient = ClientHandler::create();

private:
    status_t work(int stage, const APipeItem& item) {
        if (stage == mFault.stage && --mFault.frame == 0) {
            if (!mFault.isLock) return UNKNOWN_ERROR;
            FaultInjection::failNth(Fault::GraphicsLock, 1);
        }
        for (const sp<APipeBuffer>& buffer : {item.mInput, item.mOutput}) {
            buffer->unlock();
            if (buffer->lock() != OK) return UNKNOWN_ERROR;
        }
        *pixelsOf(item.mOutput) = *pixelsOf(item.mInput);
        return OK;
    }

    std::array<sp<TestStage>, kStages> mStages;
    std::map<int32_t, sp<APipeBuffer>> mOutputs;
    int32_t mLastId = 0;
    int mRefused = 0;
};

// What the client sees of a fault, of kFrames that it then sends.
struct Outcome {
    int errors, refused, inputsHome, framesOut;
};

struct Row {
    std::string name;
    std::function<void(Life&)> order;
    Outcome outcome;
};

// Set-up needs two buffers for each of the first two stages: one fault after the other.
std::vector<Row> setUpRows() {
    std::vector<Row> rows;
    for (const auto& [fault, name] : {std::pair{Fault::GraphicsAllocate, "allocation "},
                                      {Fault::GraphicsMap, "mapping "},
                                      {Fault::GraphicsLock, "lock "}}) {
        for (uint32_t n = 1; n <= 5; ++n) {
            const Outcome outcome = n <= 2   ? Outcome{1, kFrames, 0, 0}
                                    : n <= 4 ? Outcome{1, 0, kFrames, 0}
                                             : Outcome{0, 0, kFrames, kFrames};
            rows.push_back({name + std::to_string(n),
                            [fault = fault, n](Life&) { FaultInjection::failNth(fault, n); },
                            outcome});
        }
    }
    return rows;
}

std::vector<Row> frameRows() {
    std::vector<Row> rows;
    for (const bool isLock : {false, true}) {
        for (int stage = 0; stage < kStages; ++stage) {
            for (int frame = 1; frame <= kFrames; ++frame) {
                const bool isFirst = stage == 0;
                rows.push_back(
                    {(isLock ? "lock" : "engine") + std::string(" of stage ") +
                         std::to_string(stage) + " at frame " + std::to_string(frame),
                     [=](Life& life) {
                         life.mFault = {stage, frame, isLock};
                     },
                     {1, isFirst ? kFrames - frame : 0, isFirst ? frame - 1 : kFrames, frame - 1}});
            }
        }
    }
    return rows;
}

class FaultTest : public testing::Test {
protected:
    ~FaultTest() override {
        FaultInjection::clear();
        // The last reference to a stage may be its thread's.
        EXPECT_TRUE(
            plexa::eventually([] { return host::graphicsCounts() == host::GraphicsCounts(); }));
    }

    // One life with the row's fault, and after a release and an init the chain is as new.
    static void live(const Row& row, bool isSetUp, uint64_t seed) {
        host::LooperScheduler scheduler(seed);
        Life life;
        const auto settle = [&] { scheduler.runUntilIdle(); };
        if (isSetUp) row.order(life);
        EXPECT_EQ(life.init(), OK);
        settle();
        EXPECT_EQ(life.heard(APipe::kWhatInitCompleted),
                  isSetUp && row.outcome.errors != 0 ? 0 : 1);
        FaultInjection::clear();
        if (!isSetUp) row.order(life);
        life.sendFrames(settle);
        EXPECT_EQ(life.heard(APipe::kWhatError), row.outcome.errors);
        EXPECT_EQ(life.refused(), row.outcome.refused);
        EXPECT_EQ(life.heard(APipe::kWhatInputBufferDone), row.outcome.inputsHome);
        EXPECT_EQ(life.frames(), row.outcome.framesOut);
        FaultInjection::clear();

        life.first()->flush();
        settle();
        EXPECT_EQ(life.heard(APipe::kWhatFlushCompleted), 1);
        for (int stage = 0; stage < kStages - 1 && !isSetUp; ++stage)
            EXPECT_EQ(life.freeBuffers(stage), size_t{kPool});
        startAgain(life, settle);
    }

    template <typename Settle>
    static void startAgain(Life& life, Settle settle) {
        life.first()->release();
        settle();
        EXPECT_EQ(life.heard(APipe::kWhatReleaseCompleted), 1);
        life.forget();
        EXPECT_EQ(life.init(), OK);
        settle();
        EXPECT_EQ(life.heard(APipe::kWhatInitCompleted), 1);
        life.sendFrames(settle);
        EXPECT_EQ(life.frames(), kFrames);
        EXPECT_EQ(life.refused(), 0);
    }

    static void liveAll(const std::vector<Row>& rows, bool isSetUp) {
        for (const Row& row : rows) {
            for (uint64_t seed = 1; seed <= kSeeds && !HasFailure(); ++seed) {
                SCOPED_TRACE(row.name + ", seed " + std::to_string(seed));
                live(row, isSetUp, seed);
            }
        }
    }

    const LogCapture mLog{ANDROID_LOG_WARN};
};

TEST_F(FaultTest, MissingMemoryForAPoolIsAnErrorOfInit) {
    liveAll(setUpRows(), true);
}

TEST_F(FaultTest, AFailedFrameWaitsForAFlushAndOthersComeHome) {
    liveAll(frameRows(), false);
}

// Someone holds what the middle stage's pool gets back with a flush, so that it needs new buffers.
TEST_F(FaultTest, AReplacementThatFailsIsTriedAgainWhileTheChainGoesOn) {
    for (const Fault fault : {Fault::GraphicsAllocate, Fault::GraphicsMap}) {
        host::LooperScheduler scheduler(1);
        Life life;
        const auto settle = [&] { scheduler.runUntilIdle(); };
        std::vector<sp<APipeBuffer>> held;
        const sp<TestStage>& middle = life.stage(1);
        middle->mEngine = [&held, work = middle->mEngine](const APipeItem& item) {
            held.push_back(item.mOutput);
            return work(item);
        };
        EXPECT_EQ(life.init(), OK);
        settle();
        life.sendFrames(settle, false);
        EXPECT_EQ(held.size(), size_t{kPool});
        life.first()->flush();
        settle();
        life.forget();
        FaultInjection::failNth(fault, 1);
        life.sendFrames(settle);
        EXPECT_EQ(life.frames(), kFrames);
        EXPECT_EQ(life.heard(APipe::kWhatError), 0);
        EXPECT_EQ(mLog.count(ANDROID_LOG_ERROR, "APipeBufferPool", "cannot replace buffer 0"),
                  fault == Fault::GraphicsAllocate ? 1U : 2U);
        EXPECT_EQ(life.freeBuffers(1), size_t{kPool});
    }
}

TEST_F(FaultTest, WithoutAHandlerOfTheNoticesTheChainGoesOn) {
    host::LooperScheduler scheduler(1);
    Life life;
    const auto settle = [&] { scheduler.runUntilIdle(); };
    EXPECT_EQ(life.init(), OK);
    settle();
    life.mClient.clear();
    life.sendFrames(settle);
    EXPECT_EQ(life.last()->mWorkCount, kFrames);
    EXPECT_GE(mLog.countFrom(ANDROID_LOG_WARN), size_t{2 * kFrames});
    life.first()->flush();
    settle();
    EXPECT_EQ(life.freeBuffers(0), size_t{kPool});
    life.first()->release();
    settle();
    EXPECT_EQ(life.last()->looper(), nullptr);
}

TEST_F(FaultTest, AThreadThatDoesNotStartIsAnErrorUntilTheNextInit) {
    for (uint32_t n = 1; n <= kStages; ++n) {
        SCOPED_TRACE(n);
        Life life;
        FaultInjection::failNth(Fault::ThreadStart, n);
        EXPECT_EQ(life.init(), n == 1 ? UNKNOWN_ERROR : OK);
        if (n > 1) {
            ASSERT_TRUE(life.mClient->waitFor(APipe::kWhatError));
            life.first()->release();
            ASSERT_TRUE(life.mClient->waitFor(APipe::kWhatReleaseCompleted));
        }
        EXPECT_EQ(life.heard(APipe::kWhatInitCompleted), 0);
        life.forget();
        EXPECT_EQ(life.init(), OK);
        ASSERT_TRUE(life.mClient->waitFor(APipe::kWhatInitCompleted));
        life.sendFrames([] {});
        EXPECT_TRUE(life.mClient->waitFor(APipe::kWhatOutputBufferDone, kFrames));
        EXPECT_EQ(life.frames(), kFrames);
        life.first()->release();
        ASSERT_TRUE(life.mClient->waitFor(APipe::kWhatReleaseCompleted));
    }
}

TEST_F(FaultTest, AMissingLibraryIsAnErrorUntilItIsThere) {
    for (const char* path : {"/nowhere/libvexcolor.so", "libm.so.6"}) {
        host::LooperScheduler scheduler(1);
        const sp<ClientHandler> client = ClientHandler::create();
        const sp<APipe> scale = new APipeScale(nullptr, client->notify());
        const sp<AMessage> format = formatOf(APipeBuffer::Nv12, kFrameWidth, kFrameHeight);
        plexa::gVexcolorPath = path;
        EXPECT_EQ(scale->init(format, format), OK);
        scheduler.runUntilIdle();
        EXPECT_EQ(client->count(APipe::kWhatError), 1U);
        EXPECT_EQ(scale->queueItem(inputItem(1, 0)), UNKNOWN_ERROR);
        plexa::gVexcolorPath = "libvexcolor.so";
        scale->release();
        scheduler.runUntilIdle();
        EXPECT_EQ(client->count(APipe::kWhatReleaseCompleted), 1U);
        EXPECT_EQ(scale->init(format, format), OK);
        scheduler.runUntilIdle();
        EXPECT_EQ(client->count(APipe::kWhatInitCompleted), 1U);
    }
}

}  // namespace
}  // namespace android
