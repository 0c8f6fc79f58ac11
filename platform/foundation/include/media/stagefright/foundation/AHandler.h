// AHandler: receives messages on the thread of the looper it is registered with.
#pragma once

#include <host/SpinLock.h>
#include <utils/RefBase.h>

#include <cstdint>

namespace android {

class ALooper;
class AMessage;

namespace host {
class Registration;
}

// Derive and override onMessageReceived(). The handler must be registered with a looper before
// messages are made for it; messages hold it weakly, so it may go at any time, on any thread.
// Threading: the accessors are thread-safe; onMessageReceived() is loop-bound.
class AHandler : public RefBase {
public:
    using handler_id = int32_t;

    AHandler();

    // The number that the looper gave it; 0 while it is not registered. Never used twice.
    handler_id id() const;
    // The looper it is registered with; null while there is none or once that is gone.
    sp<ALooper> looper() const;
    wp<ALooper> getLooper() const;

protected:
    ~AHandler() override;

    // Handles one message; never called by two threads at once.
    virtual void onMessageReceived(const sp<AMessage>& msg) = 0;

private:
    friend class ALooper;
    friend class AMessage;

    sp<host::Registration> registration() const;
    // Replaces the registration of that id (0: none); false if it has another one by now.
    bool replaceRegistration(handler_id expected, sp<host::Registration> next);

    // Every message made for the handler writes here: kept off the lines that its own thread reads.
    struct alignas(64) Bond {
        mutable host::SpinLock lock;
        sp<host::Registration> registration;  // guarded by lock
    };
    Bond mBond;
};

}  // namespace android
