// Which thread is a stage's loop, and who calls from another one.
#define LOG_TAG "APipeLoopChecker"

#include "APipeLoopChecker.h"

#include <log/log.h>
#include <pthread.h>
#include <unistd.h>

namespace android {

sp<APipeLoopChecker> APipeLoopChecker::create(const std::string& stage) {
    return kIsOn ? new APipeLoopChecker(stage) : nullptr;
}

void APipeLoopChecker::enter() {
    mThread = gettid();
}

void APipeLoopChecker::check(const char* call) const {
    const pid_t loop = mThread;
    const pid_t caller = gettid();
    if (loop == kNoThread || loop == caller) return;
    char name[16] = "";  // what the kernel keeps of a thread's name
    pthread_getname_np(pthread_self(), name, sizeof(name));
    ALOGE("[%s] %s called on thread %d '%s' instead of the stage's loop, thread %d", mStage.c_str(),
          call, caller, name, loop);
}

}  // namespace android
