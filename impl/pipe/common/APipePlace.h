// APipePlace: where in a chain a buffer is, and since when.
#pragma once

#include <atomic>
#include <cstdint>

#include <time.h>

#include "APipeBuffer.h"
#include "APipeItemGenerator.h"

namespace android {

/// Milliseconds of the monotonic clock, as exact as the kernel's tick. For ages that people read:
/// a quarter of the price of an exact time.
inline int64_t coarseNowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    constexpr int64_t kMsPerSecond = 1'000;
    constexpr int64_t kNsPerMs = 1'000'000;
    return now.tv_sec * kMsPerSecond + now.tv_nsec / kNsPerMs;
}

/// Every buffer carries one, as a number, so that it is written and read in one step. Whoever owns
/// the buffer writes it; anyone may read it.
///
/// Threading: reentrant; a plain value.
struct APipePlace {
    enum Kind : uint8_t {
        kOutside,  ///< with a client, or with nobody that a stage knows of
        kInPool,
        kOnTheWay,     ///< queued, in the message queue of the stage
        kInGenerator,  ///< in the stage's item generator
        kInWork,       ///< part of an item to work on
        kToSend,       ///< finished, waiting for the next stage
        kFailed,       ///< as kInWork, and the work on it has failed
        kOnTheWayHome,
    };

    Kind kind = kOutside;
    /// Whose place it is: the number of a stage's stay, which changes with every init and flush, so
    /// that what was there before is there no more. 24 bits; 0 is nobody's.
    uint32_t stay = 0;
    int64_t sinceMs = 0;  ///< of coarseNowMs(), 36 bits: two years

    static APipePlace of(const APipeBuffer& buffer) {
        return unpacked(buffer.mPlace.load(std::memory_order_relaxed));
    }
    void putOn(APipeBuffer& buffer) const {
        buffer.mPlace.store(packed(), std::memory_order_relaxed);
    }
    /// The time of the frame that a buffer had when a stage saw it last, -1 before that.
    static int64_t frameOf(const APipeBuffer& buffer) {
        return buffer.mFrameUs.load(std::memory_order_relaxed);
    }
    static int64_t frameOf(const sp<APipeBuffer>& buffer) {
        return buffer != nullptr ? frameOf(*buffer) : -1;
    }
    static void setFrame(APipeBuffer& buffer, int64_t timeUs) {
        buffer.mFrameUs.store(timeUs, std::memory_order_relaxed);
    }

    static int64_t countBuffers(const APipeItem& item) {
        return (item.mInput != nullptr ? 1 : 0) + (item.mSubInput != nullptr ? 1 : 0) +
               (item.mOutput != nullptr ? 1 : 0);
    }
    /// A client knows its buffers by their numbers.
    static bool isClients(const APipeBuffer& buffer) {
        return buffer.getMeta()->contains("bufferId");
    }

    /// Held by the stage of that stay.
    bool isInside(uint32_t itsStay) const { return stay == itsStay && isHeld(kind); }
    static bool isHeld(Kind kind) {
        return kind == kInGenerator || kind == kInWork || kind == kToSend || kind == kFailed;
    }

    static constexpr uint32_t kStayMask = (1U << 24U) - 1;

private:
    uint64_t packed() const {
        return uint64_t{kind} | uint64_t{stay & kStayMask} << kStayShift |
               static_cast<uint64_t>(sinceMs) << kTimeShift;
    }
    static APipePlace unpacked(uint64_t word) {
        return {static_cast<Kind>(word & kKindMask),
                static_cast<uint32_t>(word >> kStayShift) & kStayMask,
                static_cast<int64_t>(word >> kTimeShift)};
    }

    static constexpr uint64_t kKindMask = 0xf;
    static constexpr unsigned kStayShift = 4;
    static constexpr unsigned kTimeShift = 28;
};

}  // namespace android
