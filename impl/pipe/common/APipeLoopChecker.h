// APipeLoopChecker: tells when what belongs to a stage's loop is called on another thread.
#pragma once

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <string>

#include <sys/types.h>

namespace android {

/// Knows the thread of a stage's loop; the stage shares it with its generator and its pool. A call
/// on another thread is let pass with an error in the log. While the stage has no loop, and for a
/// generator or pool without a stage (null), any thread will do. With NDEBUG all of it is empty.
///
/// Threading: thread-safe.
class APipeLoopChecker : public RefBase {
public:
    /// Whether misuse is looked for.
#ifdef NDEBUG
    static constexpr bool kIsOn = false;
#else
    static constexpr bool kIsOn = true;
#endif

    /// Null with NDEBUG.
    static sp<APipeLoopChecker> create(const std::string& stage);

    /// The calling thread is the loop's, until leave().
    static void enter(const sp<APipeLoopChecker>& checker) {
        if (kIsOn && checker != nullptr) checker->enter();
    }
    static void leave(const sp<APipeLoopChecker>& checker) {
        if (kIsOn && checker != nullptr) checker->mThread = kNoThread;
    }
    static void check(const sp<APipeLoopChecker>& checker, const char* call) {
        if (kIsOn && checker != nullptr) checker->check(call);
    }

protected:
    ~APipeLoopChecker() override = default;

private:
    static constexpr pid_t kNoThread = 0;

    explicit APipeLoopChecker(const std::string& stage) : mStage(stage) {}
    void enter();
    void check(const char* call) const;

    const std::string mStage;
    std::atomic<pid_t> mThread = kNoThread;
};

}  // namespace android
