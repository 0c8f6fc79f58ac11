// What goes wrong in a chain only when threads, flushes and ends meet at the wrong moment.
#include <APipe.h>
#include <pthread.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::Awaited;
using plexa::ClientHandler;
using plexa::eventually;
using plexa::formatOf;
using plexa::inputItem;
using plexa::kFrameHeight;
using plexa::kFrameWidth;
using plexa::LogCapture;
using plexa::outputItem;
using plexa::pairItem;
using plexa::TestStage;

std::string threadName() {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof(name));
    return name;
}

bool stageThreadsAreGone() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        if (name == "A_Looper" || name == "B_Looper") return false;
    }
    return true;
}

// A chain of two stages on threads, with a client. At its end nothing that runs for it is left, so
// that engines and listeners may refer to what was there before it.
struct Chain {
    explicit Chain(ClientHandler::Listener listener = nullptr)
        : client(ClientHandler::create(std::move(listener))),
          last(new TestStage(nullptr, client->notify(), "B", 0)),
          first(new TestStage(last, client->notify(), "A", 2)),
          mLast(last) {}
    ~Chain() {
        first.clear();
        last.clear();
        EXPECT_TRUE(eventually([this] { return mLast.promote() == nullptr; }));
        EXPECT_TRUE(eventually(stageThreadsAreGone));
        client->stop();
    }
    status_t init() const {
        const sp<AMessage> format = formatOf(2, kFrameWidth, kFrameHeight);
        return first->init(format, format);
    }
    [[nodiscard]] bool start() const {
        return init() == OK && client->waitFor(APipe::kWhatInitCompleted);
    }

    sp<ClientHandler> client;
    sp<TestStage> last, first;

private:
    const wp<TestStage> mLast;
};

TEST(PipeHazardTest, AFlushDoesNotHandOutWhatTheNextStageReads) {
    const LogCapture log;
    Awaited<sp<APipeBuffer>> reading;
    Awaited<bool> mayEnd(false);
    std::atomic<bool> overwritten = false;
    const Chain chain;
    chain.last->mEngine = [&](const APipeItem& item) {
        reading.set(item.mInput);
        const bool ended = mayEnd.waitUntil([](bool may) { return may; });
        reading.set(nullptr);
        return ended ? OK : UNKNOWN_ERROR;
    };
    chain.first->mEngine = [&](const APipeItem& item) {
        if (item.mOutput == reading.get()) overwritten = true;
        return OK;
    };
    ASSERT_TRUE(chain.start());
    chain.last->queueItem(outputItem(11));
    chain.first->queueItem(inputItem(1, 100));
    ASSERT_TRUE(reading.waitUntil([](const auto& buffer) { return buffer != nullptr; }));

    chain.first->flush();
    for (const int32_t id : {2, 3})
        chain.first->queueItem(inputItem(id, 100 * id));
    EXPECT_TRUE(chain.client->waitFor(APipe::kWhatInputBufferDone, 2));
    EXPECT_FALSE(overwritten);
    mayEnd.set(true);
    ASSERT_TRUE(chain.client->waitFor(APipe::kWhatFlushCompleted));

    for (const int32_t id : {12, 13})
        chain.last->queueItem(outputItem(id));
    for (const int32_t id : {4, 5, 6}) {
        chain.first->queueItem(inputItem(id, 100 * id));
        chain.last->queueItem(outputItem(10 + id));
    }
    EXPECT_TRUE(chain.client->waitFor(APipe::kWhatInputBufferDone, 5)) << "a pool buffer is lost";
}

TEST(PipeHazardTest, AFlushAndAReleaseWaitForTheFrameInWorkOnly) {
    const LogCapture log;
    for (const int32_t what : {APipe::kWhatFlushCompleted, APipe::kWhatReleaseCompleted}) {
        Awaited<int> begun(0);
        Awaited<bool> mayEnd(false);
        const Chain chain;
        chain.last->mEngine = [&](const APipeItem&) {
            begun.update([](int& count) { ++count; });
            return mayEnd.waitUntil([](bool may) { return may; }) ? OK : UNKNOWN_ERROR;
        };
        ASSERT_TRUE(chain.start());
        for (const int32_t id : {1, 2, 3}) {
            chain.last->queueItem(outputItem(10 + id));
            chain.first->queueItem(inputItem(id, 100 * id));
        }
        ASSERT_TRUE(begun.waitUntil([](int count) { return count == 1; }));
        what == APipe::kWhatFlushCompleted ? chain.first->flush() : chain.first->release();
        ASSERT_TRUE(eventually([&] { return chain.last->getBufferGeneration() == 1; }));
        mayEnd.set(true);
        EXPECT_TRUE(chain.client->waitFor(what));
        EXPECT_EQ(begun.get(), 1);
    }
}

// A notice is answered at once, on the client's thread, while the stage that sent it goes on.
TEST(PipeHazardTest, AnswersToNoticesFindTheChainReady) {
    constexpr int kLives = 300;
    const LogCapture log(ANDROID_LOG_ERROR);
    Chain* self = nullptr;
    std::atomic<int> lives = 0, refusals = 0;
    Chain chain([&](const ClientHandler::Notice& notice) {
        if (notice.what == APipe::kWhatInitCompleted) {
            if (self->first->queueItem(inputItem(1, 0)) != OK) ++refusals;
            if (self->last->queueItem(outputItem(11)) != OK) ++refusals;
            self->first->release();
        } else if (notice.what == APipe::kWhatReleaseCompleted && ++lives < kLives) {
            if (self->init() != OK) ++refusals;
        }
    });
    self = &chain;
    ASSERT_EQ(chain.init(), OK);
    EXPECT_TRUE(chain.client->waitFor(APipe::kWhatReleaseCompleted, kLives));
    EXPECT_EQ(refusals, 0);
    EXPECT_EQ(chain.client->count(APipe::kWhatError), 0U);
}

TEST(PipeHazardTest, ManyThreadsUseAStageThatComesAndGoes) {
    const LogCapture log(ANDROID_LOG_FATAL);
    const Chain chain;
    const sp<TestStage> pipe = chain.last;
    std::atomic<bool> done = false, strange = false;
    pipe->setItemGenerator(nullptr);
    pipe->mEngine = [&](const auto&) {
        if (pipe->mState == TestStage::kStateCreated) strange = true;  // ahead of its init
        return OK;
    };
    const auto use = [&] {
        const sp<AMessage> format = formatOf(2, kFrameWidth, kFrameHeight);
        for (int32_t i = 0; !done; ++i) {
            const status_t err = pipe->init(format, format);
            if (err != OK && err != INVALID_OPERATION) strange = true;
            pipe->queueItem(pairItem(i, i, i));
            pipe->setRangeInfos({{0, i, i}});
            if (i % 8 == 0) pipe->flush();
            if (i % 8 == 4) pipe->setBufferGeneration();
        }
    };
    const auto read = [&] {
        while (!done)
            if (chain.first->debugString().empty() || pipe->getCounts().held < 0) strange = true;
    };
    std::thread users[] = {std::thread(use),  std::thread(use),  std::thread(read),
                           std::thread(read), std::thread(read), std::thread(read)};
    const char* const seconds = std::getenv("PLEXA_STORM_SECONDS");
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 0);
    do {
        EXPECT_TRUE(eventually([&] {
            pipe->release();
            return chain.client->count(APipe::kWhatReleaseCompleted) >= 60;
        }));
        chain.client->forget();
    } while (std::chrono::steady_clock::now() < end);
    done = true;
    for (std::thread& user : users)
        user.join();
    EXPECT_FALSE(strange);
}

// Where debug builds look, which the sanitizers' are.
TEST(PipeHazardTest, LoopBoundCallsFromElsewhereAreLogged) {
#ifdef NDEBUG
    constexpr size_t kReports = 0;
#else
    constexpr size_t kReports = 1;
#endif
    const LogCapture log;
    const Chain chain;
    ASSERT_TRUE(chain.start());
    chain.last->queueItem(outputItem(11));
    chain.first->queueItem(inputItem(1, 100));
    ASSERT_TRUE(chain.client->waitFor(APipe::kWhatOutputBufferDone));
    const auto callAll = [&] {
        chain.first->setReply(inputItem(1, 0)->mInput);
        chain.first->mBufferPool->returnWaitBuffer();
        chain.first->mItemGenerator->takeDroppedItems();
    };
    callAll();
    chain.first->release();
    ASSERT_TRUE(chain.client->waitFor(APipe::kWhatReleaseCompleted));
    callAll();  // there is no loop any more
    for (const char* call : {"setReply", "returnWaitBuffer", "takeDroppedItems"})
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "APipeLoopChecker",
                            std::string("[A] ") + call + " called on thread "),
                  kReports);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "APipeLoopChecker", ""), 3 * kReports);
}

enum class Place { OwnLooper, NextLooper, ClientLooper, OtherThread };

class PipeTeardownTest : public testing::TestWithParam<Place> {
protected:
    // Builds a chain with work queued, whose last reference falls in `place`, while the rest waits.
    // Gives the name of the thread on which the first stage has ended, empty after a deadline.
    std::string endChain(Place place) {
        sp<TestStage> lastReference;
        Awaited<bool> othersAreGone(false);
        Awaited<std::string> endedOn;
        const auto drop = [&] {
            if (othersAreGone.waitUntil([](bool gone) { return gone; })) lastReference.clear();
        };
        const auto dropAt = [&](Place where) {
            return [&, where](const auto&...) { return where == place ? drop() : void(), OK; };
        };
        Chain chain([&](const auto& notice) {
            if (notice.what == APipe::kWhatInputBufferDone) dropAt(Place::ClientLooper)();
        });
        chain.first->mEngine = dropAt(Place::OwnLooper);
        chain.last->mEngine = dropAt(Place::NextLooper);
        chain.first->mOnDestroyed = [&] { endedOn.set(threadName()); };
        if (!chain.start()) return "";
        mFirst = chain.first;
        mLooper = chain.first->looper();
        for (int32_t i = 0; i < 20; ++i) {
            chain.last->queueItem(outputItem(i));
            chain.first->queueItem(inputItem(i, i));
        }
        lastReference = std::exchange(chain.first, nullptr);
        chain.last.clear();
        othersAreGone.set(true);
        if (place == Place::OtherThread) std::thread(drop).join();
        return endedOn.waitUntil([](const auto& name) { return !name.empty(); }) ? endedOn.get()
                                                                                 : "";
    }

    wp<APipe> mFirst;
    sp<ALooper> mLooper;  // someone may still hold it; its thread must end all the same
};

TEST_P(PipeTeardownTest, NothingIsLeft) {
    const LogCapture log(ANDROID_LOG_FATAL);
    for (int round = 0; round < 20; ++round) {
        const std::string thread = endChain(GetParam());
        ASSERT_NE(thread, "");
        EXPECT_TRUE(GetParam() != Place::OwnLooper || thread == "A_Looper");
        EXPECT_EQ(mFirst.promote(), nullptr);
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Everywhere, PipeTeardownTest,
                         testing::Values(Place::OwnLooper, Place::NextLooper, Place::ClientLooper,
                                         Place::OtherThread));

}  // namespace
}  // namespace android
