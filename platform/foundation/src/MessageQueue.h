// MessageQueue: the messages of one looper, posted from any thread, taken by one.
#pragma once

#include "IdleYield.h"
#include "ServedTargets.h"

#include <host/QueueLink.h>
#include <media/stagefright/foundation/AMessage.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <vector>

namespace android::host {

// Producers push onto a stack with one compare-and-swap; the consumer takes the whole stack at
// once, so no node comes back while a producer looks at it, and turns it over into posting order.
// Delayed messages wait in a heap that only the consumer touches. The top of the stack also says
// that the consumer sleeps or that the queue is closed: a push to an awake consumer makes no
// system call and takes no lock.
// Threading: push() and close() are thread-safe. The rest is the consumer's, which may pass from
// one thread to another if one happens before the other.
class MessageQueue {
public:
    static constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

    MessageQueue() = default;
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    // Takes the message over; false, and the message stays, when the queue is closed. Once the
    // message is taken the queue may be gone at any time, if only the message kept it.
    bool push(sp<AMessage>& message, int64_t delayUs);
    // No message is taken in or handed out from here on; wakes the consumer.
    void close();

    bool isClosed() const { return mClosed.load(std::memory_order_acquire); }
    // Has the next message handled; false if none is due. A handler that others hold too stays held
    // until none is due, or until endRun().
    bool handleNext();
    void endRun() { mServed.letGo(); }
    // When the next message is due: 0 for at once, kNever for none.
    int64_t nextDueUs();
    // Sleeps until a push, close(), or the given time; may also return without a reason.
    void waitUntil(int64_t dueUs);
    // Destroys what the closed queue holds.
    void drop();
    // Lets the closed and dropped queue take messages again.
    void reopen();

private:
    using Node = QueueLink;

    static Node* sleeping() { return reinterpret_cast<Node*>(1); }
    static Node* closed() { return reinterpret_cast<Node*>(2); }
    static bool isLater(const Node* a, const Node* b);

    // The message's own, or another one while that is taken.
    static Node* takeLink(AMessage& message);
    // The message of the node, whose link is free again.
    static sp<AMessage> unlink(Node* node);
    int64_t dueTime(int64_t delayUs);
    bool pushNode(Node* node);
    void collect();
    void addAll(Node* newestFirst);
    void add(Node* node);
    bool isHeapFirst() const;
    sp<AMessage> take();
    Node* popFront();
    Node* popHeap();

    // Contended: the newest message, or a mark.
    alignas(64) std::atomic<Node*> mTop{nullptr};
    // Delayed messages not handled yet. While there are any, a push notes its time.
    std::atomic<uint32_t> mDelayed{0};

    alignas(64) std::atomic<bool> mClosed{false};
    Node* mLeft = nullptr;   // what close() found, until drop()
    Node* mFront = nullptr;  // undelayed messages in posting order
    Node* mBack = nullptr;
    std::vector<Node*> mHeap;  // delayed messages, the earliest first
    uint64_t mOrder = 0;
    ServedTargets mServed;
    IdleYield mIdleYield;
};

}  // namespace android::host
