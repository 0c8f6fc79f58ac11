// Reference counts: the hooks, weak references, extended lifetimes, and races for the last share.
#include <gtest/gtest.h>
#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace android {
namespace {

// Writes what happens to it into a log that outlives it: f(irst) l(ast strong) w(eak) d(estroyed).
class Logged : public RefBase {
public:
    explicit Logged(std::string* log, bool extended = false, bool revivable = true)
        : mLog(log), mRevivable(revivable) {
        if (extended) extendObjectLifetime(OBJECT_LIFETIME_WEAK);
    }
    ~Logged() override { *mLog += 'd'; }

    void onFirstRef() override { *mLog += 'f'; }
    void onLastStrongRef(const void*) override { *mLog += 'l'; }
    bool onIncStrongAttempted(uint32_t, const void*) override { return mRevivable; }
    void onLastWeakRef(const void*) override { *mLog += 'w'; }

private:
    std::string* const mLog;
    const bool mRevivable;
};

TEST(RefBaseTest, CallsHooksOnceAndDestroysWithTheLastShare) {
    std::string log;
    sp<Logged> first = sp<Logged>::make(&log);
    sp<Logged> second = first;
    EXPECT_EQ(first->getStrongCount(), 2);
    first.clear();
    EXPECT_EQ(log, "f");
    second.clear();
    EXPECT_EQ(log, "fld");
}

TEST(RefBaseTest, PromotesWhileTheObjectLivesAndNeverAfter) {
    std::string log;
    sp<Logged> strong = sp<Logged>::make(&log);
    const wp<Logged> weak = strong;
    const wp<Logged> twin = weak;
    EXPECT_EQ(weak.promote(), strong);
    strong.clear();
    EXPECT_EQ(log, "fld");
    EXPECT_EQ(weak.promote(), nullptr);
    EXPECT_EQ(weak, twin);
    EXPECT_NE(weak, nullptr);
}

TEST(RefBaseTest, SurvivesWeakReferencesTakenInItsConstructorAndDestructor) {
    struct SelfNaming : RefBase {
        SelfNaming() { wp<SelfNaming>(this).clear(); }
        ~SelfNaming() override { EXPECT_EQ(wp<SelfNaming>(this).promote(), nullptr); }
    };
    wp<SelfNaming> weak = sp<SelfNaming>::make();
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST(RefBaseTest, ObjectThatNobodyHeldCannotBePromotedOnceItIsGone) {
    std::string log;
    wp<Logged> weak;
    {
        Logged local(&log);
        weak = &local;
    }
    EXPECT_EQ(log, "d");
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST(RefBaseTest, FirstReferenceMayComeFromAPromotion) {
    std::string log;
    auto* object = new Logged(&log);
    const wp<Logged> weak(object);
    EXPECT_NE(weak.promote(), nullptr);
    EXPECT_EQ(log, "fld");
}

TEST(RefBaseTest, ExtendedLifetimeEndsWithTheLastWeakReference) {
    for (const bool revivable : {true, false}) {
        std::string log;
        sp<Logged> strong = sp<Logged>::make(&log, true, revivable);
        wp<Logged> weak = strong;
        strong.clear();
        EXPECT_EQ(log, "fl");
        EXPECT_EQ(weak.promote() != nullptr, revivable);
        EXPECT_EQ(log, revivable ? "fll" : "fl");
        weak.clear();
        EXPECT_EQ(log, revivable ? "fllwd" : "flwd");
    }
    std::string log;
    sp<Logged>::make(&log, true).clear();
    EXPECT_EQ(log, "flwd") << "there was no weak reference";
}

TEST(RefBaseTest, WideObjectsAreAlignedHoweverTheyAreMade) {
    struct alignas(256) Wide : RefBase {
        char bytes[2048];
    };
    for (const sp<Wide>& wide : {sp<Wide>(new Wide), sp<Wide>(new (std::nothrow) Wide)})
        EXPECT_EQ(reinterpret_cast<uintptr_t>(wide.get()) % alignof(Wide), 0U);
}

using RefBaseDeathTest = testing::Test;

TEST(RefBaseDeathTest, StopsAtReferencesThatComeTooLate) {
    struct Reborn : RefBase {
        ~Reborn() override { sp<Reborn>(this).clear(); }
    };
    EXPECT_DEATH(sp<Reborn>::make().clear(), "after the last one went");
    EXPECT_DEATH(
        {
            std::string log;
            Logged local(&log);
            local.incStrong(nullptr);
            local.incStrong(nullptr);
        },
        "destroyed while 2 strong references hold it");
}

struct Shared : RefBase {
    explicit Shared(std::atomic<int>* itsGone) : gone(itsGone) {}
    ~Shared() override { ++*gone; }

    std::atomic<int>* const gone;
    std::atomic<int> touched{0};
};

// Threads promote, copy and drop while the owner lets go: each object goes exactly once, and
// nobody holds it afterwards.
TEST(RefBaseTest, LastShareIsFoundWhenThreadsRaceForIt) {
    constexpr int kRounds = 300;
    constexpr int kThreads = 3;
    std::atomic<int> gone{0};
    for (int round = 0; round < kRounds; ++round) {
        sp<Shared> owner = sp<Shared>::make(&gone);
        const wp<Shared> weak = owner;
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&ready, weak] {
                ++ready;
                for (int k = 0; k < 20; ++k) {
                    const sp<Shared> strong = weak.promote();
                    if (strong == nullptr) return;
                    const wp<Shared> again = sp<Shared>(strong);
                    ++again.promote()->touched;
                }
            });
        }
        while (ready < kThreads)
            std::this_thread::yield();
        owner.clear();
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(gone, round + 1);
    }
}
}  // namespace
}  // namespace android
