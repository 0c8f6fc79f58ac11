// The looper: its driver's life and its handlers.
#define LOG_TAG "ALooper"

#include "LooperCore.h"
#include "LooperThread.h"
#include "ScheduledLoop.h"

#include <log/log.h>
#include <media/stagefright/foundation/ALooper.h>

#include <atomic>
#include <ctime>
#include <utility>

namespace android {

ALooper::ALooper() : mCore(sp<host::LooperCore>::make()) {}

ALooper::~ALooper() {
    const auto handlers = mCore->takeHandlers();
    for (size_t i = 0; i < handlers.size(); ++i)
        unbind(handlers.valueAt(i), handlers.keyAt(i));
    mCore->queue.close();
    if (!finishDriver()) mCore->queue.drop();
}

void ALooper::setName(const char* name) {
    mName = name;
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t priority) {
    if (isCurrent()) return INVALID_OPERATION;
    std::unique_lock control(mControl);
    if (isRunning()) return INVALID_OPERATION;
    finishDriver();
    if (mCore->queue.isClosed()) mCore->queue.reopen();

    if (const auto loop = host::ScheduledLoop::attach(mCore)) {
        setDriver(loop);
        return OK;
    }
    const auto thread = sp<host::LooperThread>::make(mCore, mName, priority);
    setDriver(thread);
    if (runOnCallingThread) {
        control.unlock();
        thread->run();
        return OK;
    }
    const status_t status = thread->start();
    if (status != OK) setDriver(nullptr);
    return status;
}

status_t ALooper::stop() {
    if (isCurrent()) {
        // The driver is finished by the next start(), stop() or the destructor.
        mCore->queue.close();
        return OK;
    }
    const std::lock_guard control(mControl);
    if (!hasDriver()) return INVALID_OPERATION;
    mCore->queue.close();
    finishDriver();
    return OK;
}

bool ALooper::hasDriver() const {
    const std::lock_guard lock(mLock);
    return mDriver != nullptr;
}

bool ALooper::isRunning() const {
    return hasDriver() && !mCore->queue.isClosed();
}

bool ALooper::isCurrent() const {
    const std::lock_guard lock(mLock);
    return mDriver != nullptr && mDriver->isCurrent();
}

sp<host::LoopDriver> ALooper::setDriver(sp<host::LoopDriver> driver) {
    const std::lock_guard lock(mLock);
    mDriver.swap(driver);
    return driver;
}

bool ALooper::finishDriver() {
    const sp<host::LoopDriver> driver = setDriver(nullptr);
    if (driver == nullptr) return false;
    driver->finish();
    return true;
}

ALooper::handler_id ALooper::registerHandler(const sp<AHandler>& handler) {
    static std::atomic<handler_id> lastId{0};
    if (handler == nullptr) {
        ALOGE("looper '%s' cannot register a null handler", mName.c_str());
        return BAD_VALUE;
    }
    const handler_id id = ++lastId;
    const auto bond = sp<host::Registration>::make(id, handler, this, mCore);
    if (!handler->replaceRegistration(0, bond)) {
        ALOGE("looper '%s' cannot register a handler that is registered already", mName.c_str());
        return INVALID_OPERATION;
    }
    mCore->addHandler(id, handler);
    return id;
}

void ALooper::unregisterHandler(handler_id id) {
    unbind(mCore->takeHandler(id), id);
}

void ALooper::unbind(const wp<AHandler>& weak, handler_id id) {
    const sp<AHandler> handler = weak.promote();
    if (handler != nullptr) handler->replaceRegistration(id, nullptr);
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
