// What a client queues into the conservation chain, and what it knows of its buffers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "conservation_chain.h"
#include "support/ClientHandler.h"
#include "support/Deadline.h"

namespace plexa {

// The client's books. A buffer is out from the moment it is queued until a notice names it or a
// flush that began later has completed.
// Threading: reentrant.
class ConservationBooks {
public:
    // The ids of the client's buffers.
    static constexpr int32_t kFrames = 8, kFirstMask = kFrames, kMasks = 12;
    static constexpr int32_t kEndMask = kFirstMask + kMasks;
    static constexpr int32_t kFirstOutput = kEndMask + 1, kOutputs = 4;
    static constexpr int32_t kBuffers = kFirstOutput + kOutputs;

    ConservationBooks() { mOutSince.fill(kHome); }

    void isQueued(int32_t id);
    void onNotice(const ClientHandler::Notice& notice);
    void flushBegins() { ++flushesBegun; }

    bool isOut(int32_t id) const { return mOutSince[static_cast<size_t>(id)] != kHome; }
    Ids out() const;
    bool isFlushing() const { return flushesBegun != flushesCompleted; }

    int64_t framesQueued = 0;
    int64_t shown = 0;
    int64_t queued = 0;    // buffers of all kinds
    int64_t reported = 0;  // those that came home in notices
    int64_t covered = 0;   // those that flushes gave back
    int64_t strange = 0;   // notices of buffers that were not out
    int64_t errors = 0;
    int flushesBegun = 0;
    int flushesCompleted = 0;
    bool initialised = false;
    bool released = false;

private:
    static constexpr int kHome = -1;

    void cameHome(int32_t id);
    void flushCompleted();

    std::array<int, kBuffers> mOutSince;  // flushes that had begun when it was queued
};

// Drives a chain with frames, masks, metadata and outputs. Parts get lost and come disordered; a
// buffer is queued again once it is home.
// Threading: for one thread; the chain's notices may come on another.
class ConservationTraffic {
public:
    explicit ConservationTraffic(uint64_t seed);
    virtual ~ConservationTraffic() = default;

    [[nodiscard]] bool start();
    // Queues so many frames, with what belongs to them and is not lost, and flushes now and then.
    void run(int64_t frames);
    // Tells the chain by its means that nothing follows, so that it sends every frame home.
    void end();
    void flush();
    [[nodiscard]] bool release();

    [[nodiscard]] bool waitFor(bool (*condition)(const ConservationBooks&)) const {
        return mBooks.waitUntil(condition);
    }
    ConservationBooks books() const { return mBooks.get(); }
    int mismatchedItems() const { return mChain.portrait->mMismatched; }

protected:
    // Lets the chain work until it has nothing to do, if it does not work by itself.
    virtual void pump() {}
    // Called between two steps of the client.
    virtual void breathe() {}
    // Called when nothing can be queued; returns when the chain has moved on or seems stuck.
    virtual void waitForRoom() { pump(); }
    // Called now and then.
    virtual void check() {}

    uint64_t draw(uint64_t below) { return mRandom() % below; }
    const ConservationChain& chain() const { return mChain; }

private:
    enum class Kind { Frame, Mask, Meta };
    struct Part {
        Kind kind;
        int64_t timeUs;
    };

    void gatherParts();
    bool queueOnePart();
    std::vector<Part>::iterator firstOf(Kind kind);
    bool queuePart(const Part& part);
    bool queueFree(int32_t firstId, int32_t count, int64_t timeUs);
    void queue(int32_t id, int64_t timeUs);
    void queueOutputs();

    std::mt19937_64 mRandom;
    Awaited<ConservationBooks> mBooks;
    const android::sp<ClientHandler> mClient;
    const ConservationChain mChain;
    std::vector<android::sp<android::APipeBuffer>> mBuffers;
    std::vector<Part> mParts;  // in the order of their times
    int64_t mNextTimeUs = 0;
};

}  // namespace plexa
