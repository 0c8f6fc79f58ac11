// LoopDriver: who runs a looper's queue, a thread or a test's scheduler.
#pragma once

#include <utils/RefBase.h>

namespace android::host {

// Runs the queue until that is stopped, then drops what is in it.
// Threading: thread-safe.
class LoopDriver : public RefBase {
public:
    // Whether the caller is a message that this driver runs.
    virtual bool isCurrent() const = 0;
    // Waits until the stopped queue's last message is done and the rest is dropped. From within a
    // message it does not wait; that then happens after the message.
    virtual void finish() = 0;
};

}  // namespace android::host
