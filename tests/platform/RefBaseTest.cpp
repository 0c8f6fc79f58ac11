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

// Counts its ends; with an extended lifetime it does not agree to be revived.
struct Shared : RefBase {
    Shared(std::atomic<int>* itsEnds, bool extended) : ends(itsEnds) {
        if (extended) extendObjectLifetime(OBJECT_LIFETIME_WEAK);
    }
    void onLastStrongRef(const void*) override { ++*ends; }
    bool onIncStrongAttempted(uint32_t, const void*) override { return false; }

    std::atomic<int>* const ends;
    std::atomic<int> touched{0};
};

// A thread promotes, copies and drops while the owner lets go: each object has one end.
TEST(RefBaseTest, LastShareIsFoundWhenThreadsRaceForIt) {
    std::atomic<int> ends{0};
    std::vector<sp<Shared>> owned;
    for (int i = 0; i < 4'000; ++i)
        owned.push_back(sp<Shared>::make(&ends, i % 2 == 0));
    const std::vector<wp<Shared>> weak(owned.begin(), owned.end());
    std::atomic<size_t> at{0};
    std::thread other([&] {
        for (const wp<Shared>& named : weak) {
            ++at;
            while (const sp<Shared> strong = named.promote())
                ++wp<Shared>(strong).promote()->touched;
        }
    });
    for (size_t i = 0; i < owned.size(); ++i) {
        while (at <= i)
            std::this_thread::yield();
        owned[i].clear();
    }
    other.join();
    EXPECT_EQ(ends, std::ssize(owned));
}
}  // namespace
}  // namespace android
