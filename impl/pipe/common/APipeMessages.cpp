// Copies of messages that a client wrote.
#define LOG_TAG "APipeMessages"

#include "APipeMessages.h"

#include <log/log.h>

namespace android {

namespace {

// The name of a null message inside, null if there is none.
const char* nullMessageIn(const sp<AMessage>& message) {
    for (size_t i = 0; i < message->countEntries(); ++i) {
        AMessage::Type type;
        const char* const name = message->getEntryNameAt(i, &type);
        if (type != AMessage::kTypeMessage) continue;
        sp<AMessage> nested;
        message->findMessage(name, &nested);
        if (nested == nullptr) return name;
        if (const char* const inner = nullMessageIn(nested)) return inner;
    }
    return nullptr;
}

}  // namespace

sp<AMessage> APipeMessages::copy(const char* owner, const sp<AMessage>& message) {
    const char* const name = nullMessageIn(message);
    if (name == nullptr) return message->dup();
    ALOGE("[%s] cannot copy a message whose \"%s\" is null", owner, name);
    return nullptr;
}

}  // namespace android
