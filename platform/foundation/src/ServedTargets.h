// ServedTargets: what a loop keeps of the targets of the messages that it has handled.
#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <utils/StrongPointer.h>

#include <array>
#include <cstddef>

namespace android::host {

// References that a loop would take or drop at each message, while other threads count the same
// ones up and down. Here it does so once for a run of messages; letGo() ends the run.
// Threading: thread-bound.
class ServedTargets {
public:
    ServedTargets();
    ~ServedTargets();
    ServedTargets(const ServedTargets&) = delete;
    ServedTargets& operator=(const ServedTargets&) = delete;

    // The handler, held at least until endMessage(); null when it is gone.
    AHandler* handlerOf(const Registration& target);
    // Lets go of a handler that nobody else holds.
    void endMessage();

    // Keeps the target of a message that is done with.
    void keep(sp<Registration> target);

    void letGo();

private:
    void letHandlerGo();
    void letSpentGo();

    sp<AHandler> mHandler;
    AHandler::handler_id mHandlerId = 0;  // 0: none is held
    std::array<sp<Registration>, 16> mSpent;
    size_t mSpentCount = 0;
};

}  // namespace android::host
