// Events of one thread on their way to the writer.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "TraceEvent.h"

namespace android::host {

// A ring that one thread fills and the writer empties, without a lock: recording never waits, and
// a signal handler that waits for the writer may have interrupted a thread that records.
//
// What begins is left out when the ring is almost full; the rest of it is for the ends of what has
// begun. An end of a slice always finds room. While any lane is crowded all leave events out.
class TraceLane {
public:
    explicit TraceLane(std::atomic<bool>* crowded) : mCrowded(crowded) {}
    TraceLane(const TraceLane&) = delete;
    TraceLane& operator=(const TraceLane&) = delete;

    // --- The thread that records ---

    // Becomes the calling thread's, if no thread has it and it is empty.
    bool take();
    // The thread has ended.
    void letGo();

    void begin(const char* name);
    void end();
    void asyncEnd(const char* name, int32_t cookie);
    // An async begin or a counter.
    void record(TraceKind kind, const char* name, int64_t value);

    // --- The writer ---

    // The first event; null if there is none. It stays until pop().
    const TraceEvent* front() const;
    void pop();
    // Free for another thread, if its own has ended and all is written.
    void reuse();
    uint64_t leftOut() const { return mLeftOut.load(std::memory_order_relaxed); }

    // The thread, while there are events, and how many have had the lane until now.
    uint32_t uses() const { return mUses; }
    int32_t threadId() const { return mThreadId; }
    const char* threadName() const { return mThreadName.data(); }

private:
    enum class Owner : uint8_t { Nobody, Thread, EndedThread };

    static constexpr uint64_t kSlots = 8192;
    static constexpr uint64_t kForEnds = kSlots / 4;
    static constexpr uint32_t kMaxOpen = 256;
    static_assert(kMaxOpen < kForEnds);

    bool hasRoom(uint64_t spare);
    bool mayBegin();
    void leaveOut();
    void push(TraceKind kind, const char* name, int64_t value);

    static constexpr size_t kCacheLine = 64;

    alignas(kCacheLine) std::atomic<uint64_t> mTail{0};  // the writer's
    alignas(kCacheLine) std::atomic<bool>* const mCrowded;
    std::atomic<Owner> mOwner{Owner::Nobody};
    uint32_t mUses = 0;
    int32_t mThreadId = 0;
    std::array<char, 16> mThreadName{};
    uint32_t mOpen = 0;     // slices that have begun
    uint32_t mSkipped = 0;  // slices inside those that were left out
    uint64_t mKnownTail = 0;
    std::atomic<uint64_t> mLeftOut{0};
    std::atomic<uint64_t> mHead{0};
    std::array<TraceEvent, kSlots> mEvents;
};

}  // namespace android::host
