// Loopers on real threads: order, stopping, and loopers and handlers that go at odd moments.
#include <gtest/gtest.h>
#include <host/FaultInjection.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>

#include <kit/Deadline.h>
#include "support/CallHandler.h"
#include "support/LogCapture.h"

namespace android {
namespace {

using plexa::CallHandler;
using plexa::kit::Awaited;

size_t threadsOfProcess() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// The thread sanitizer starts a thread of its own with the first one of the process, which is not
// to be taken for one that a looper left behind.
size_t threadsBeforeATest() {
    std::thread([] {}).join();
    return threadsOfProcess();
}

// Gives another thread every chance to do what it must not do yet.
void dawdle() {
    for (int i = 0; i < 2'000; ++i)
        std::this_thread::yield();
}

// Counts how many of it are alive.
struct Tracked : RefBase {
    explicit Tracked(std::atomic<int>* alive) : mAlive(alive) { ++*mAlive; }
    ~Tracked() override { --*mAlive; }
    std::atomic<int>* const mAlive;
};

class LooperTest : public testing::Test {
protected:
    // No test leaves a thread or a message behind.
    ~LooperTest() override {
        EXPECT_TRUE(
            plexa::kit::eventually([this] { return threadsOfProcess() <= mThreadsBefore; }));
        EXPECT_EQ(mAlive, 0);
    }

    sp<CallHandler> handlerOn(const sp<ALooper>& looper, CallHandler::Call call) {
        auto handler = sp<CallHandler>::make(std::move(call));
        EXPECT_GT(looper->registerHandler(handler), 0);
        return handler;
    }
    // A handler that keeps the codes it gets.
    sp<CallHandler> recorderOn(const sp<ALooper>& looper) {
        return handlerOn(looper, [this](const auto& msg) {
            mWhats.update([&](auto& whats) { whats.push_back(msg->what()); });
        });
    }
    static status_t post(const sp<AHandler>& handler, uint32_t what = 1, int64_t delayUs = 0) {
        return sp<AMessage>::make(what, handler)->post(delayUs);
    }
    bool waitForWhats(size_t count) const {
        return mWhats.waitUntil([&](const auto& whats) { return whats.size() >= count; });
    }

    const size_t mThreadsBefore = threadsBeforeATest();
    std::atomic<int> mAlive{0};  // of the objects that messages hold
    plexa::LogCapture mLog;
    Awaited<std::vector<uint32_t>> mWhats;
    Awaited<bool> mEntered, mGo, mDone;
    static constexpr auto kTrue = [](bool value) { return value; };
};

TEST_F(LooperTest, HandlesByDueTimeThenPostingOrder) {
    const auto looper = sp<ALooper>::make();
    const auto handler = recorderOn(looper);
    post(handler, 1, 20'000);
    post(handler, 2, 10'000);
    post(handler, 3);
    post(handler, 4, -5);
    EXPECT_EQ(looper->start(), OK);
    EXPECT_EQ(looper->start(), INVALID_OPERATION);
    ASSERT_TRUE(waitForWhats(4));
    EXPECT_EQ(mWhats.get(), (std::vector<uint32_t>{3, 4, 2, 1}));
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
}

TEST_F(LooperTest, AMessageMayBePostedAgainWhileItWaitsAndByItsHandler) {
    std::atomic<int> alive{0}, again{2};
    const auto looper = sp<ALooper>::make();
    const auto handler = handlerOn(looper, [&](const auto& msg) {
        if (again-- > 0) msg->post();
        mWhats.update([&](auto& whats) { whats.push_back(msg->what()); });
    });
    auto message = sp<AMessage>::make(7U, handler);
    message->setObject("tracked", sp<Tracked>::make(&alive));
    for (const int64_t delayUs : {0, 5'000, 0, 1'000})
        EXPECT_EQ(message->post(delayUs), OK);
    message.clear();
    looper->start();
    ASSERT_TRUE(waitForWhats(6));
    looper->stop();
    EXPECT_EQ(mWhats.get(), std::vector<uint32_t>(6, 7U));
    EXPECT_EQ(alive, 0);
}

TEST_F(LooperTest, KeepsEachThreadsOrderAndLosesNothing) {
    constexpr size_t kThreads = 4;
    constexpr int32_t kEach = 2'000;
    std::array<int32_t, kThreads> next{};
    size_t handled = 0;
    const auto looper = sp<ALooper>::make();
    const auto handler = handlerOn(looper, [&](const auto& msg) {
        int32_t number = -1;
        ASSERT_TRUE(msg->findInt32("number", &number));
        EXPECT_EQ(number, next[msg->what()]++);
        if (++handled == kThreads * kEach) mDone.set(true);
    });
    ASSERT_EQ(looper->start(), OK);
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int32_t number = 0; number < kEach; ++number) {
                const auto msg = sp<AMessage>::make(thread, handler);
                msg->setInt32("number", number);
                EXPECT_EQ(msg->post(), OK);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(mDone.waitUntil(kTrue));
    looper->stop();
}

TEST_F(LooperTest, StopWaitsForTheMessageBeingHandledAndDropsTheRest) {
    std::atomic<int> alive{0};
    const auto looper = sp<ALooper>::make();
    const auto handler = handlerOn(looper, [&](const auto&) {
        mEntered.set(true);
        EXPECT_TRUE(mGo.waitUntil(kTrue));
        EXPECT_EQ(looper->start(), INVALID_OPERATION);
        EXPECT_EQ(looper->stop(), OK);
        mDone.set(true);
    });
    for (const int64_t delayUs : {0, 0, 1'000'000'000}) {
        const auto msg = sp<AMessage>::make(1U, handler);
        msg->setObject("tracked", sp<Tracked>::make(&alive));
        msg->post(delayUs);
    }
    ASSERT_EQ(looper->start(), OK);
    ASSERT_TRUE(mEntered.waitUntil(kTrue));
    std::thread stopper([&] {
        EXPECT_EQ(looper->stop(), OK);
        EXPECT_TRUE(mDone.get());
        EXPECT_EQ(alive, 0);
    });
    dawdle();
    mGo.set(true);
    stopper.join();
}

TEST_F(LooperTest, StopsFromItsOwnMessageAndStartsAgain) {
    const auto looper = sp<ALooper>::make();
    const auto handler = handlerOn(looper, [&](const auto& msg) {
        mWhats.update([&](auto& whats) { whats.push_back(msg->what()); });
        if (msg->what() != 1) return;
        EXPECT_EQ(looper->stop(), OK);
        EXPECT_EQ(looper->start(), INVALID_OPERATION);
        mEntered.set(true);
        dawdle();
        mDone.set(true);
    });
    post(handler, 1);
    post(handler, 2);
    ASSERT_EQ(looper->start(), OK);
    ASSERT_TRUE(mEntered.waitUntil(kTrue));
    ASSERT_EQ(looper->start(), OK);
    EXPECT_TRUE(mDone.get());  // never two messages at once
    looper->stop();
    EXPECT_EQ(post(handler, 3), OK);  // waits for the next start
    ASSERT_EQ(looper->start(), OK);
    ASSERT_TRUE(waitForWhats(2));
    EXPECT_EQ(mWhats.get(), (std::vector<uint32_t>{1, 3}));
    looper->stop();
    const auto msg = sp<AMessage>::make(4U, handler);
    msg->setObject("tracked", sp<Tracked>::make(&mAlive));
    msg->post();  // goes with the looper
}

TEST_F(LooperTest, RunsOnTheCallingThreadUntilStopped) {
    const auto looper = sp<ALooper>::make();
    const auto caller = std::this_thread::get_id();
    const auto handler = handlerOn(looper, [&](const auto& msg) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        if (msg->what() == 1) looper->stop();
    });
    post(handler, 0);
    post(handler, 1);
    EXPECT_EQ(looper->start(true), OK);

    const auto other = handlerOn(looper, [&](const auto&) { mEntered.set(true); });
    std::thread stopper([&] {
        EXPECT_EQ(post(other), OK);
        EXPECT_TRUE(mEntered.waitUntil(kTrue));
        EXPECT_EQ(looper->stop(), OK);
    });
    EXPECT_EQ(looper->start(true), OK);
    stopper.join();
}

// The last reference to the looper, the handler, or a handler that owns its looper as a stage
// does, falls inside a message; more messages wait behind it.
TEST_F(LooperTest, LastReferencesMayFallInsideAMessage) {
    struct Stage : AHandler {
        sp<ALooper> looper = sp<ALooper>::make();
        sp<Stage> self;
        Awaited<bool>* done;
        std::atomic<int>* handled;

        void start(Awaited<bool>* whenGone, std::atomic<int>* whenHandled) {
            done = whenGone;
            handled = whenHandled;
            looper->start();
            looper->registerHandler(this);
        }
        ~Stage() override {
            looper->unregisterHandler(id());
            looper->stop();
            looper.clear();
            done->set(true);
        }
        void onMessageReceived(const sp<AMessage>&) override {
            ++*handled;
            self.clear();
        }
    };
    for (int round = 0; round < 20; ++round) {
        mDone.set(false);
        std::atomic<int> alive{0}, handled{0};
        auto stage = sp<Stage>::make();
        stage->start(&mDone, &handled);
        stage->self = stage;
        const wp<Stage> weak = stage;
        std::vector<sp<AMessage>> messages;
        for (int i = 0; i < 3; ++i) {
            messages.push_back(sp<AMessage>::make(1U, stage));
            messages.back()->setObject("tracked", sp<Tracked>::make(&alive));
        }
        stage.clear();
        for (const auto& msg : messages)
            msg->post();
        messages.clear();
        ASSERT_TRUE(mDone.waitUntil(kTrue));
        EXPECT_EQ(weak.promote(), nullptr);
        EXPECT_TRUE(plexa::kit::eventually([&] { return alive == 0; }));
        EXPECT_EQ(handled, 1);
        EXPECT_EQ(mLog.count(ANDROID_LOG_WARN, "AMessage", "dropped: its target"), 0U);
    }
}

TEST(LooperDeathTest, ProcessEndsAfterTheThreadOfALooperThatWentInsideAMessage) {
    EXPECT_EXIT(
        {
            Awaited<bool> gone;
            auto looper = sp<ALooper>::make();
            const auto handler = sp<CallHandler>::make([&](const auto&) {
                looper.clear();
                gone.set(true);
                dawdle();
                fprintf(stderr, "thread ends");
            });
            looper->registerHandler(handler);
            const auto msg = sp<AMessage>::make(1U, handler);
            looper->start();
            msg->post();
            exit(gone.waitUntil([](bool value) { return value; }) ? 0 : 1);
        },
        testing::ExitedWithCode(0), "thread ends");
}

TEST_F(LooperTest, MessagesOfAHandlerThatIsGoneAreDroppedWithAWarning) {
    const auto looper = sp<ALooper>::make();
    auto doomed = handlerOn(looper, [](const auto&) { ADD_FAILURE() << "handled by a ghost"; });
    const auto late = sp<AMessage>::make(0x61626364U, doomed);
    late->post();
    doomed.clear();
    const auto last = recorderOn(looper);
    post(last);
    looper->start();
    ASSERT_TRUE(waitForWhats(1));
    looper->stop();
    EXPECT_EQ(mLog.count(ANDROID_LOG_WARN, "AMessage", "'abcd' dropped: its target"), 1U);
}

TEST_F(LooperTest, HandlersMoveFromLooperToLooper) {
    auto first = sp<ALooper>::make();
    auto second = sp<ALooper>::make();
    const auto handler = recorderOn(first);
    const int32_t firstId = handler->id();
    EXPECT_DEATH(second->registerHandler(handler), "");
    EXPECT_DEATH(second->registerHandler(nullptr), "");
    second->unregisterHandler(firstId);
    EXPECT_EQ(handler->looper(), first);
    const auto old = sp<AMessage>::make(1U, handler);

    first->unregisterHandler(firstId);
    EXPECT_EQ(handler->id(), 0);
    EXPECT_GT(second->registerHandler(handler), firstId);
    second->start();
    first->start();
    EXPECT_EQ(post(handler, 2), OK);
    EXPECT_TRUE(waitForWhats(1));
    first.clear();
    EXPECT_EQ(old->post(), NAME_NOT_FOUND);
    EXPECT_EQ(mWhats.get(), std::vector<uint32_t>{2});
    second->stop();
    second.clear();
    EXPECT_EQ(handler->looper(), nullptr);
}

TEST_F(LooperTest, NamesItsThreadAndSetsItsPriority) {
    const auto looper = sp<ALooper>::make();
    looper->setName("decompress_Looper");
    Awaited<std::string> name;
    const auto handler = handlerOn(looper, [&](const auto&) {
        EXPECT_EQ(getpriority(PRIO_PROCESS, 0), 5);
        std::array<char, 16> text{};
        pthread_getname_np(pthread_self(), text.data(), text.size());
        name.set(text.data());
    });
    post(handler);
    ASSERT_EQ(looper->start(false, false, 5), OK);
    EXPECT_TRUE(name.waitUntil([](const auto& text) { return text == "decompress_Loop"; }));
    looper->stop();
}

TEST_F(LooperTest, WithoutAThreadStartFailsAndMayBeTriedAgain) {
    const auto looper = sp<ALooper>::make();
    const auto handler = recorderOn(looper);
    host::FaultInjection::failNth(host::Fault::ThreadStart, 2);
    ASSERT_EQ(looper->start(), OK);
    looper->stop();
    EXPECT_EQ(looper->start(), UNKNOWN_ERROR);
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, "ALooper", "cannot start thread"));
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
    ASSERT_EQ(looper->start(), OK);
    post(handler);
    EXPECT_TRUE(waitForWhats(1));
    looper->stop();
}

// Threads post, also one message between them, while the looper stops and starts: nothing is
// refused, and nothing stays alive.
TEST_F(LooperTest, PostingRacesWithStopping) {
    constexpr int kRounds = 40;
    auto looper = sp<ALooper>::make();
    const auto handler = handlerOn(looper, [](const auto&) {});
    const auto shared = sp<AMessage>::make(2U, handler);
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 5'000; ++k) {
                const auto msg = sp<AMessage>::make(1U, handler);
                msg->setObject("tracked", sp<Tracked>::make(&mAlive));
                EXPECT_EQ(msg->post(mAlive % 3 == 0 ? 50 : 0), OK);
                EXPECT_EQ(shared->post(), OK);
            }
        });
    }
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(looper->start(), OK);
        std::this_thread::yield();
        EXPECT_EQ(looper->stop(), OK);
    }
    for (std::thread& thread : threads)
        thread.join();
    looper.clear();
    EXPECT_EQ(shared->post(), NAME_NOT_FOUND);
    EXPECT_EQ(mAlive, 0);
}

}  // namespace
}  // namespace android
