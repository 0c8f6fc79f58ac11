// AHandler: receives messages on the thread of the looper it is registered with.
#pragma once

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
// Threading: onMessageReceived() is loop-bound. The rest is reentrant: registering and
// unregistering a handler, reading its id or looper, and making or copying a message for it need a
// common lock when they come from several threads. Posting needs none.
class AHandler : public RefBase {
public:
    using handler_id = int32_t;

    AHandler();

    // The number that the looper gave it, also once that is gone; 0 while it is not registered.
    // Never used twice.
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

    sp<host::Registration> mRegistration;
};

}  // namespace android
