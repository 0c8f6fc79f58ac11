// Events of one thread on their way to the writer.
#include "TraceLane.h"

#include <cstring>

#include <sys/prctl.h>
#include <unistd.h>

namespace android::host {

bool TraceLane::take() {
    Owner nobody = Owner::Nobody;
    if (!mOwner.compare_exchange_strong(nobody, Owner::Thread, std::memory_order_acquire)) {
        return false;
    }
    ++mUses;
    mThreadId = gettid();
    prctl(PR_GET_NAME, mThreadName.data());
    mOpen = 0;
    mSkipped = 0;
    return true;
}

void TraceLane::letGo() {
    mOwner.store(Owner::EndedThread, std::memory_order_release);
}

void TraceLane::begin(const char* name) {
    if (mSkipped > 0 || mOpen == kMaxOpen || !mayBegin()) {
        ++mSkipped;
        return leaveOut();
    }
    ++mOpen;
    push(TraceKind::Begin, name, 0);
}

void TraceLane::end() {
    if (mSkipped > 0) {
        --mSkipped;
    } else if (mOpen > 0) {
        --mOpen;
        push(TraceKind::End, "", 0);
    }
}

void TraceLane::asyncEnd(const char* name, int32_t cookie) {
    hasRoom(mOpen) ? push(TraceKind::AsyncEnd, name, cookie) : leaveOut();
}

void TraceLane::record(TraceKind kind, const char* name, int64_t value) {
    mayBegin() ? push(kind, name, value) : leaveOut();
}

bool TraceLane::mayBegin() {
    if (mCrowded->load(std::memory_order_relaxed)) return false;
    if (hasRoom(kForEnds)) return true;
    mCrowded->store(true, std::memory_order_relaxed);
    return false;
}

// For one event and `spare` more.
bool TraceLane::hasRoom(uint64_t spare) {
    const uint64_t end = mHead.load(std::memory_order_relaxed) + spare;
    if (end < mKnownTail + kSlots) return true;
    mKnownTail = mTail.load(std::memory_order_acquire);
    return end < mKnownTail + kSlots;
}

void TraceLane::leaveOut() {
    mLeftOut.store(mLeftOut.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void TraceLane::push(TraceKind kind, const char* name, int64_t value) {
    const uint64_t head = mHead.load(std::memory_order_relaxed);
    TraceEvent& event = mEvents[head % kSlots];
    event.timeNs = traceClockNs();
    event.value = value;
    event.kind = kind;
    event.length = static_cast<uint8_t>(strnlen(name, TraceEvent::kMaxName));
    std::memcpy(event.text, name, event.length);
    mHead.store(head + 1, std::memory_order_release);
}

const TraceEvent* TraceLane::front() const {
    const uint64_t tail = mTail.load(std::memory_order_relaxed);
    const bool isEmpty = tail == mHead.load(std::memory_order_acquire);
    return isEmpty ? nullptr : &mEvents[tail % kSlots];
}

void TraceLane::pop() {
    mTail.store(mTail.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void TraceLane::reuse() {
    const bool hasEnded = mOwner.load(std::memory_order_acquire) == Owner::EndedThread;
    if (hasEnded && front() == nullptr) mOwner.store(Owner::Nobody, std::memory_order_release);
}

}  // namespace android::host
