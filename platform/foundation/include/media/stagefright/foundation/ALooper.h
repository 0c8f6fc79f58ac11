// ALooper: a thread that handles messages one at a time.
#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <cstdint>
#include <map>
#include <string>

namespace android {

namespace host {
class LoopDriver;
class MessageQueue;
}  // namespace host

// Handles messages by due time, then in posting order, never from within post(). Messages posted
// while it does not run wait for start(). stop() drops what is queued, after the message that is
// being handled; dropped messages are destroyed on the looper's thread.
// The thread keeps the queue, not the looper: the last reference to the looper may go anywhere,
// also inside a message that it handles, and stops it.
// Threading: thread-safe. stop() waits for the message being handled, except on the looper's own
// thread; a lock that the handler takes must not be held while calling it.
class ALooper : public RefBase {
public:
    using event_id = int32_t;
    using handler_id = AHandler::handler_id;

    // Nice values that callers of start() use.
    enum : int32_t { PRIORITY_FOREGROUND = -2, PRIORITY_DEFAULT = 0 };

    ALooper();

    // Takes effect at the next start(). The kernel keeps the first 15 bytes.
    void setName(const char* name);
    const char* getName() const { return mName.c_str(); }

    // Starts handling, on a thread of its own or, with runOnCallingThread, inside this call until
    // someone calls stop(). `priority` is the thread's nice value; where the system refuses it,
    // that is logged once and the thread runs as it is. There is no managed runtime to call into.
    // INVALID_OPERATION while it runs and from within its own messages, UNKNOWN_ERROR when no
    // thread can be had.
    status_t start(bool runOnCallingThread = false, bool canCallJava = false,
                   int32_t priority = PRIORITY_DEFAULT);
    // INVALID_OPERATION when it was not running.
    status_t stop();

    // Binds the handler to this looper: its id, above 0. A null handler, or one that has not been
    // unregistered since it was registered last, stops the process. The looper does not keep the
    // handler alive.
    handler_id registerHandler(const sp<AHandler>& handler);
    // Unbinds it; an unknown id is ignored. Messages already made for it still reach it.
    void unregisterHandler(handler_id id);

    // Monotonic time in microseconds; a test's scheduler may replace the clock.
    static int64_t GetNowUs();

protected:
    ~ALooper() override;

private:
    sp<host::LoopDriver> driver() const;
    void setDriver(const sp<host::LoopDriver>& driver);
    bool isRunning() const;
    // Whether the caller is a message of this looper.
    bool isCurrent() const;
    void finishDriver();

    std::string mName;
    const sp<host::MessageQueue> mQueue;
    Mutex mControl;  // start and stop, one at a time; never taken inside a message of this looper
    mutable Mutex mLock;
    sp<host::LoopDriver> mDriver GUARDED_BY(mLock);  // until it has finished
    std::map<handler_id, wp<AHandler>> mHandlers GUARDED_BY(mLock);
};

}  // namespace android
