// The queue between posting threads and a looper.
#include "MessageQueue.h"

#include "LooperCore.h"

#include <media/stagefright/foundation/ALooper.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace android::host {

namespace {

// The kernel compares 32 bits: the lower half of the top pointer, which comes first in memory and
// tells the sleeping mark from every node, since nodes are aligned.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ && sizeof(std::atomic<void*>) == 8);

constexpr int64_t kUsPerSecond = 1'000'000;
constexpr int64_t kNsPerUs = 1'000;

// False once the time is over.
bool sleepOn(const void* word, uint32_t value, int64_t untilUs) {
    const timespec until{untilUs / kUsPerSecond, untilUs % kUsPerSecond * kNsPerUs};
    const auto* timeout = untilUs == MessageQueue::kNever ? nullptr : &until;
    const long result = syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, value, timeout, nullptr,
                                FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

// Reads nothing at `word`: it may be gone by now, and then wakes nobody.
void wakeSleeper(const void* word) {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace

MessageQueue::~MessageQueue() {
    close();
    drop();
}

bool MessageQueue::push(sp<AMessage>& message, int64_t delayUs) {
    const bool delayed = delayUs > 0;
    if (delayed) mDelayed.fetch_add(1, std::memory_order_relaxed);
    Node* node = takeLink(*message);
    node->message = std::move(message);
    node->dueUs = dueTime(delayUs);
    node->delayed = delayed;
    if (pushNode(node)) return true;
    if (delayed) mDelayed.fetch_sub(1, std::memory_order_relaxed);
    message = unlink(node);
    return false;
}

MessageQueue::Node* MessageQueue::takeLink(AMessage& message) {
    Node& own = message.mLink;
    if (own.taken.load(std::memory_order_acquire)) return new Node;
    own.taken.store(true, std::memory_order_relaxed);
    return &own;
}

sp<AMessage> MessageQueue::unlink(Node* node) {
    sp<AMessage> message = std::move(node->message);
    if (node == &message->mLink) {
        node->taken.store(false, std::memory_order_release);
    } else {
        delete node;
    }
    return message;
}

int64_t MessageQueue::dueTime(int64_t delayUs) {
    if (mDelayed.load(std::memory_order_relaxed) == 0) return 0;
    const int64_t nowUs = ALooper::GetNowUs();
    return nowUs + std::clamp<int64_t>(delayUs, 0, kNever - 1 - nowUs);
}

bool MessageQueue::pushNode(Node* node) {
    Node* top = mTop.load(std::memory_order_relaxed);
    do {
        if (top == closed()) return false;
        node->next = top == sleeping() ? nullptr : top;
    } while (!mTop.compare_exchange_weak(top, node, std::memory_order_release,
                                         std::memory_order_relaxed));
    if (top == sleeping()) wakeSleeper(&mTop);
    return true;
}

void MessageQueue::close() {
    Node* top = mTop.exchange(closed(), std::memory_order_acq_rel);
    if (top == closed()) return;
    if (top != sleeping()) mLeft = top;
    mClosed.store(true, std::memory_order_release);
    if (top == sleeping()) wakeSleeper(&mTop);
}

void MessageQueue::reopen() {
    mClosed.store(false, std::memory_order_relaxed);
    mTop.store(nullptr, std::memory_order_release);
}

bool MessageQueue::handleNext() {
    const sp<AMessage> message = isClosed() ? nullptr : take();
    if (message == nullptr) {
        endRun();
        return false;
    }
    message->deliver(message, mServed.handlerOf(*message->mTarget));
    mServed.endMessage();
    if (message->getStrongCount() == 1) mServed.keep(std::move(message->mTarget));
    return true;
}

int64_t MessageQueue::nextDueUs() {
    if (mFront == nullptr) collect();
    if (isClosed()) return kNever;
    if (mFront != nullptr) return 0;
    return mHeap.empty() ? kNever : mHeap.front()->dueUs;
}

void MessageQueue::waitUntil(int64_t dueUs) {
    if (mIdleYield.until([this] { return mTop.load(std::memory_order_relaxed) != nullptr; }))
        return;
    Node* top = nullptr;
    if (!mTop.compare_exchange_strong(top, sleeping(), std::memory_order_relaxed)) return;
    const auto mark = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(sleeping()));
    while (mTop.load(std::memory_order_relaxed) == sleeping()) {
        if (sleepOn(&mTop, mark, dueUs)) continue;
        top = sleeping();
        mTop.compare_exchange_strong(top, nullptr, std::memory_order_relaxed);
        return;
    }
}

void MessageQueue::drop() {
    addAll(std::exchange(mLeft, nullptr));
    while (mFront != nullptr)
        unlink(popFront());
    while (!mHeap.empty())
        unlink(popHeap());
    endRun();
}

// Takes everything that was pushed.
void MessageQueue::collect() {
    Node* top = mTop.load(std::memory_order_relaxed);
    do {
        if (top == nullptr || top == closed()) return;
    } while (!mTop.compare_exchange_weak(top, nullptr, std::memory_order_acquire,
                                         std::memory_order_relaxed));
    addAll(top);
}

void MessageQueue::addAll(Node* newestFirst) {
    Node* oldestFirst = nullptr;
    while (newestFirst != nullptr) {
        Node* next = std::exchange(newestFirst->next, oldestFirst);
        oldestFirst = std::exchange(newestFirst, next);
    }
    while (oldestFirst != nullptr) {
        Node* next = oldestFirst->next;
        add(std::exchange(oldestFirst, next));
    }
}

void MessageQueue::add(Node* node) {
    node->order = ++mOrder;
    node->next = nullptr;
    if (node->delayed) {
        mHeap.push_back(node);
        std::push_heap(mHeap.begin(), mHeap.end(), isLater);
    } else {
        (mFront == nullptr ? mFront : mBack->next) = node;
        mBack = node;
    }
}

bool MessageQueue::isLater(const Node* a, const Node* b) {
    return a->dueUs != b->dueUs ? a->dueUs > b->dueUs : a->order > b->order;
}

bool MessageQueue::isHeapFirst() const {
    if (mHeap.empty()) return false;
    if (mFront != nullptr) return isLater(mFront, mHeap.front());
    return mHeap.front()->dueUs <= ALooper::GetNowUs();
}

sp<AMessage> MessageQueue::take() {
    if (mFront == nullptr) collect();
    const bool heapFirst = isHeapFirst();
    if (!heapFirst && mFront == nullptr) return nullptr;
    return unlink(heapFirst ? popHeap() : popFront());
}

MessageQueue::Node* MessageQueue::popFront() {
    return std::exchange(mFront, mFront->next);
}

MessageQueue::Node* MessageQueue::popHeap() {
    std::pop_heap(mHeap.begin(), mHeap.end(), isLater);
    Node* node = mHeap.back();
    mHeap.pop_back();
    mDelayed.fetch_sub(1, std::memory_order_relaxed);
    return node;
}

}  // namespace android::host
