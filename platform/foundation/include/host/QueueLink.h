// QueueLink: a message's place in a looper's queue.
#pragma once

#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

namespace android {

class AMessage;

namespace host {

// Every message has one, so that posting costs no memory; one that is posted again while it is
// queued gets another.
// Threading: the queue's that it is in; `taken` is thread-safe.
struct QueueLink {
    QueueLink* next = nullptr;
    sp<AMessage> message;  // while queued: keeps the message, and with it its own link
    int64_t dueUs = 0;     // 0: posted while nothing was delayed, so nothing delayed precedes it
    uint64_t order = 0;
    bool delayed = false;
    std::atomic<bool> taken{false};
};

}  // namespace host
}  // namespace android
