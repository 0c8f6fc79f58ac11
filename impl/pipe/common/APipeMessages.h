// APipeMessages: copies of messages that a client wrote.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/StrongPointer.h>

namespace android {

/// AMessage::dup() ends the process at a null message inside the one that it copies. What a client
/// has put into its formats, its notify message or a reply of its own must not do that.
///
/// Threading: reentrant.
struct APipeMessages {
    /// A copy of a message that is not null. Null, after an error log under `owner` that names the
    /// entry, when a message inside it is null, at any depth.
    static sp<AMessage> copy(const char* owner, const sp<AMessage>& message);
};

}  // namespace android
