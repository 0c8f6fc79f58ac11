// The looper: its driver's life and its handlers.
#define LOG_TAG "ALooper"

#include "LooperThread.h"
#include "Registration.h"
#include "ScheduledLoop.h"

#include <log/log.h>
#include <media/stagefright/foundation/ALooper.h>

#include <atomic>
#include <ctime>

namespace android {

ALooper::ALooper() : mQueue(sp<host::MessageQueue>::make()) {}

ALooper::~ALooper() {
    mQueue->close();
    mQueue->stop();
    const bool dropsLater = isCurrent();
    finishDriver();
    if (!dropsLater) mQueue->drop();
}

void ALooper::setName(const char* name) {
    mName = name;
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t priority) {
    if (isCurrent()) return INVALID_OPERATION;
    sp<host::LooperThread> caller;
    {
        const Mutex::Autolock control(mControl);
        if (isRunning()) return INVALID_OPERATION;
        finishDriver();
        mQueue->start();
        if (const auto loop = host::ScheduledLoop::attach(mQueue, mName)) {
            setDriver(loop);
            return OK;
        }
        const auto thread = sp<host::LooperThread>::make(mQueue, mName, priority);
        setDriver(thread);
        if (!runOnCallingThread) {
            const status_t status = thread->start();
            if (status != OK) setDriver(nullptr);
            return status;
        }
        caller = thread;
    }
    caller->run();
    return OK;
}

status_t ALooper::stop() {
    if (isCurrent()) {
        // The driver is finished by the next start(), stop() or the destructor.
        mQueue->stop();
        return OK;
    }
    const Mutex::Autolock control(mControl);
    if (driver() == nullptr) return INVALID_OPERATION;
    mQueue->stop();
    finishDriver();
    return OK;
}

sp<host::LoopDriver> ALooper::driver() const {
    const Mutex::Autolock lock(mLock);
    return mDriver;
}

void ALooper::setDriver(const sp<host::LoopDriver>& driver) {
    const Mutex::Autolock lock(mLock);
    mDriver = driver;
}

bool ALooper::isRunning() const {
    return driver() != nullptr && !mQueue->isStopped();
}

bool ALooper::isCurrent() const {
    const sp<host::LoopDriver> current = driver();
    return current != nullptr && current->isCurrent();
}

// The driver stays known until it has finished: a message that it still runs must find itself.
void ALooper::finishDriver() {
    const sp<host::LoopDriver> last = driver();
    if (last != nullptr) last->finish();
    setDriver(nullptr);
}

ALooper::handler_id ALooper::registerHandler(const sp<AHandler>& handler) {
    static std::atomic<handler_id> lastId{0};
    LOG_ALWAYS_FATAL_IF(handler == nullptr, "looper '%s' cannot register a null handler",
                        mName.c_str());
    LOG_ALWAYS_FATAL_IF(handler->id() != 0, "handler %d is registered already", handler->id());
    const handler_id id = ++lastId;
    handler->mRegistration = sp<host::Registration>::make(id, handler, this, mQueue);
    const Mutex::Autolock lock(mLock);
    mHandlers[id] = handler;
    return id;
}

void ALooper::unregisterHandler(handler_id id) {
    wp<AHandler> weak;
    {
        const Mutex::Autolock lock(mLock);
        const auto at = mHandlers.find(id);
        if (at == mHandlers.end()) return;
        weak = at->second;
        mHandlers.erase(at);
    }
    if (const sp<AHandler> handler = weak.promote()) handler->mRegistration.clear();
}

int64_t ALooper::GetNowUs() {
    constexpr int64_t kUsPerSecond = 1'000'000;
    constexpr int64_t kNsPerUs = 1'000;
    if (const auto virtualUs = host::ScheduledLoop::virtualNowUs()) return *virtualUs;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kUsPerSecond + now.tv_nsec / kNsPerUs;
}

}  // namespace android
