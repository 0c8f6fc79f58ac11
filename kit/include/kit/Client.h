// Client: a chain's client that counts its buffers, and holds every notice against the promises.
#pragma once

#include <APipe.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kit/ClientHandler.h"
#include "kit/Frames.h"
#include "kit/Witness.h"

namespace plexa::kit {

/// What a chain does to frames, seen from outside.
struct ClientFormats {
    FrameFormat input;
    FrameFormat subInput;
    FrameFormat output;
    /// Whether an output shows the frame of that number as the chain makes it.
    std::function<bool(const android::sp<android::APipeBuffer>& output, int64_t frame)> isRight =
        showsFrame;
};

/// A buffer is at home, or away since a moment of the client's clock, which each queueing and each
/// flush move on. It comes home by its own notice, or by that of a flush or release that was called
/// after the queueing of the buffer had returned; never twice, and at home nobody touches it. After
/// a release no stage holds any buffer, whenever it was queued. Frames carry the pictures of
/// FramePainter and times of kFrameUs a frame.
///
/// claim() a buffer, queue it, settle() with what the queueing came to; expect() before a flush or
/// release; give every notice to hear(). What breaks a promise goes to the witness.
///
/// Threading: thread-safe.
class Client {
public:
    enum Role : int { Input, SubInput, Output };
    static constexpr int64_t kFrameUs = 1000;

    /// A buffer on its way out, and the number of the frame that it carries.
    struct Claim {
        android::sp<android::APipeBuffer> buffer;
        Role role;
        size_t index;
        uint64_t queueing;
        int64_t frame;

        /// As stories tell it: "input 3".
        std::string text() const;
    };

    Client(const ClientFormats& formats, std::shared_ptr<Witness> witness);

    /// A buffer that is at home, with metadata and pixels for the frame; nothing if all are away.
    /// Input frames get the next number, outputs none; a sub input carries the given one.
    std::optional<Claim> claim(Role role, int64_t subInputFrame = 0);
    /// An input whose pixels no engine can reach, so that no frame may come of it.
    std::optional<Claim> claimInputWithoutPixels();
    /// The claimed input is the last of its clip: it says so in its metadata.
    void markAsLast(const Claim& claim);
    /// Tells what came of the claim's queueing.
    void settle(const Claim& claim, android::status_t status);
    /// A frame that is in no buffer of the client's.
    int64_t addFrame();
    int64_t frameCount() const;

    /// A flush or release is about to be called whose notice has to come.
    void expect(android::APipe::Notice what);
    bool isWaiting() const;
    /// An init is about to be called, or has failed: stages can hold buffers, or cannot.
    void expectChain(bool lives);

    void hear(const ClientHandler::Notice& notice);
    /// How many notices of the kind came so far.
    size_t heard(android::APipe::Notice what) const;

    /// The buffers that are away, as in "input 2, output 0"; empty if none is.
    std::string awayText(const std::vector<Role>& roles = {Input, SubInput, Output}) const;
    /// Complains of buffers that were written while they were at home.
    void checkHome();
    /// From now on frames must come in the order of their numbers.
    void requireOrder() { mOrdered = true; }

private:
    struct Slot {
        android::sp<android::APipeBuffer> buffer;
        bool away = false;
        uint64_t queueing = 0;    // which queueing of all
        uint64_t returnedAt = 0;  // the clock when that had returned, 0 until then
        uint64_t digest = 0;      // of the pixels when it came home
    };
    struct Frame {
        uint64_t returnedAt = 0;
        bool delivered = false;
        bool forgotten = false;
        bool isLast = false;
        bool hasPixels = true;
    };
    struct Expected {
        android::APipe::Notice what;
        uint64_t calledAt;
    };

    void addSlots(Role role, size_t count, const FrameFormat& format);
    Claim claimSlot(Role role, size_t index);
    void setFrame(const Claim& claim, int64_t frame);
    void checkIsAsLeft(Role role, const Slot& slot);
    void takeHome(Slot* slot);
    bool isAway(Role role, int32_t bufferId);
    void bringHome(Role role, int32_t bufferId);
    void checkFrame(const ClientHandler::Notice& notice);
    void checkRecord(const ClientHandler::Notice& notice, const Slot& slot, const Frame& frame);
    void acknowledge(android::APipe::Notice what);
    Slot* slotOf(Role role, int32_t bufferId);

    const ClientFormats mFormats;
    const std::array<FramePainter, 3> mPainters;  // by role
    const std::shared_ptr<Witness> mWitness;
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

}  // namespace plexa::kit
