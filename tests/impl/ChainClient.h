// ChainClient: the buffers of a random chain's client, and the rules that each notice must keep.
#pragma once

#include <APipe.h>

#include <array>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "ChainWitness.h"
#include "support/ClientHandler.h"

namespace plexa {

// A buffer is at home, or away since a moment of the client's clock, which each queueing and each
// flush move on. It comes home by its own notice, or by that of a flush or release that was called
// after the queueing of the buffer had returned; never twice. After a release
// no stage holds any buffer, whenever it was queued.
// Threading: thread-safe.
class ChainClient {
public:
    enum Role : int { Input, SubInput, Output };
    static constexpr int64_t kFrameUs = 1000;

    // A buffer on its way out, and the number of the frame that it carries.
    struct Claim {
        android::sp<android::APipeBuffer> buffer;
        Role role;
        size_t index;
        uint64_t queueing;
        int64_t frame;
    };

    ChainClient(int depth, std::shared_ptr<ChainWitness> witness);

    // A buffer that is at home, with metadata and pixels for the frame; nothing if all are away.
    // Input frames get the next number, outputs none; a sub input carries the given one.
    std::optional<Claim> claim(Role role, int64_t subInputFrame = 0);
    // Tells what came of the claim's queueing.
    void settle(const Claim& claim, android::status_t status);
    // A frame that is in no buffer of the client's.
    int64_t newFrame();
    int64_t frameCount() const;

    // A flush or release is about to be called whose notice has to come.
    void expect(android::APipe::Notice what);
    bool isWaiting() const;
    // An init is about to be called, or has failed: stages can hold buffers, or cannot.
    void expectChain(bool lives);

    void hear(const ClientHandler::Notice& notice);
    // How many notices of the kind came so far.
    size_t heard(android::APipe::Notice what) const;

    size_t away(Role role) const;
    // From now on frames must come in the order of their numbers.
    void requireOrder() { mOrdered = true; }

private:
    struct Slot {
        android::sp<android::APipeBuffer> buffer;
        bool away = false;
        uint64_t queueing = 0;    // which queueing of all
        uint64_t returnedAt = 0;  // the clock when that had returned, 0 until then
    };
    struct Frame {
        uint64_t returnedAt = 0;
        bool delivered = false;
        bool forgotten = false;
    };
    struct Expected {
        android::APipe::Notice what;
        uint64_t calledAt;
    };

    void bringHome(Role role, int32_t bufferId);
    void checkFrame(const ClientHandler::Notice& notice);
    void acknowledge(android::APipe::Notice what);
    Slot* slotOf(Role role, int32_t bufferId);
    void complain(const std::string& what) { mWitness->complain(what); }

    const int mDepth;
    const std::shared_ptr<ChainWitness> mWitness;
    mutable std::mutex mLock;  // guards all below
    std::array<std::vector<Slot>, 3> mSlots;
    std::vector<Frame> mFrames;
    std::deque<Expected> mExpected;
    std::array<size_t, 3> mHeard{};
    uint64_t mClock = 0;
    int64_t mLastFrame = -1;
    bool mOrdered = false;
    bool mMayHold = false;
};

}  // namespace plexa
