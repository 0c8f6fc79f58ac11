// Buffers and frames of a client, and the promises that each notice must keep.
#include <kit/Client.h>

#include <algorithm>
#include <utility>

namespace plexa::kit {

using android::APipe;
using android::APipeBuffer;
using android::sp;
using android::status_t;

namespace {

// A buffer's id tells its role.
constexpr int32_t kRoleIds = 100;
constexpr std::array<size_t, 3> kBuffers = {6, 4, 5};
constexpr std::array<const char*, 3> kRoleNames = {"input", "sub input", "output"};

std::string nameOf(int role, size_t index) {
    return kRoleNames[static_cast<size_t>(role)] + (" " + std::to_string(index));
}

size_t heardIndex(int32_t what) {
    if (what == APipe::kWhatInitCompleted) return 0;
    return what == APipe::kWhatFlushCompleted ? 1 : 2;
}

}  // namespace

std::string Client::Claim::text() const {
    return nameOf(role, index);
}

Client::Client(const ClientFormats& formats, std::shared_ptr<Witness> witness)
    : mFormats(formats),
      mPainters{FramePainter(formats.input), FramePainter(formats.subInput),
                FramePainter(formats.output)},
      mWitness(std::move(witness)) {
    addSlots(Input, kBuffers[Input], formats.input);
    addSlots(SubInput, kBuffers[SubInput], formats.subInput);
    addSlots(Output, kBuffers[Output], formats.output);
    // Behind those that claim() takes from.
    mSlots[Input].push_back({newFrameWithoutPixels(formats.input)});
    mWitness->watch(mSlots[Input].back().buffer);
}

void Client::addSlots(Role role, size_t count, const FrameFormat& format) {
    for (size_t i = 0; i < count; ++i) {
        Slot slot{newFrame(format)};
        mPainters[static_cast<size_t>(role)].paint(slot.buffer, kNoFrame);
        slot.digest = digestOf(slot.buffer);
        mWitness->watch(slot.buffer);
        mSlots[role].push_back(slot);
    }
}

std::optional<Client::Claim> Client::claim(Role role, int64_t subInputFrame) {
    const std::lock_guard lock(mLock);
    size_t index = 0;
    while (index < kBuffers[role] && mSlots[role][index].away)
        ++index;
    if (index == kBuffers[role]) return std::nullopt;
    Claim claim = claimSlot(role, index);
    claim.frame = subInputFrame;
    if (role == Input) {
        claim.frame = static_cast<int64_t>(mFrames.size());
        mFrames.push_back({});
    }
    if (role != Output) setFrame(claim, claim.frame);
    mPainters[static_cast<size_t>(role)].paint(claim.buffer,
                                               role == Output ? kNoFrame : claim.frame);
    return claim;
}

std::optional<Client::Claim> Client::claimInputWithoutPixels() {
    const std::lock_guard lock(mLock);
    const size_t index = kBuffers[Input];
    if (mSlots[Input][index].away) return std::nullopt;
    Claim claim = claimSlot(Input, index);
    claim.frame = static_cast<int64_t>(mFrames.size());
    mFrames.push_back({});
    mFrames.back().hasPixels = false;
    setFrame(claim, claim.frame);
    return claim;
}

Client::Claim Client::claimSlot(Role role, size_t index) {
    Slot& slot = mSlots[role][index];
    checkIsAsLeft(role, slot);
    slot.away = true;
    slot.queueing = ++mClock;
    slot.returnedAt = 0;
    slot.buffer->getMeta()->clear();
    slot.buffer->getMeta()->setInt32("bufferId", static_cast<int32_t>(index) + kRoleIds * role);
    return {slot.buffer, role, index, slot.queueing, kNoFrame};
}

void Client::setFrame(const Claim& claim, int64_t frame) {
    claim.buffer->getMeta()->setInt64("timeUs", frame * kFrameUs);
}

void Client::markAsLast(const Claim& claim) {
    claim.buffer->getMeta()->setInt32("eos", 1);
    const std::lock_guard lock(mLock);
    mFrames[static_cast<size_t>(claim.frame)].isLast = true;
}

void Client::settle(const Claim& claim, status_t status) {
    const std::lock_guard lock(mLock);
    Slot& slot = mSlots[claim.role][claim.index];
    const bool isHome = !slot.away || slot.queueing != claim.queueing;
    if (isHome && status != android::OK)
        mWitness->complain("R-REFUSE", "a notice tells of " + claim.text() + ", which was refused");
    if (isHome) return;
    // A message that a release overtook was dropped, also when its posting had succeeded.
    if (status != android::OK || !mMayHold) return takeHome(&slot);
    slot.returnedAt = ++mClock;
    if (claim.role == Input) mFrames[static_cast<size_t>(claim.frame)].returnedAt = mClock;
}

int64_t Client::addFrame() {
    const std::lock_guard lock(mLock);
    mFrames.push_back({});
    return static_cast<int64_t>(mFrames.size()) - 1;
}

int64_t Client::frameCount() const {
    const std::lock_guard lock(mLock);
    return static_cast<int64_t>(mFrames.size());
}

void Client::expect(APipe::Notice what) {
    const std::lock_guard lock(mLock);
    mExpected.push_back({what, ++mClock});
}

void Client::expectChain(bool lives) {
    const std::lock_guard lock(mLock);
    mMayHold = lives;
}

bool Client::isWaiting() const {
    const std::lock_guard lock(mLock);
    return !mExpected.empty();
}

void Client::hear(const ClientHandler::Notice& notice) {
    const std::lock_guard lock(mLock);
    switch (notice.what) {
        case APipe::kWhatInputBufferDone:
            return bringHome(notice.bufferId >= kRoleIds ? SubInput : Input, notice.bufferId);
        case APipe::kWhatOutputBufferDone:
            if (isAway(Output, notice.bufferId)) checkFrame(notice);
            return bringHome(Output, notice.bufferId);
        case APipe::kWhatInitCompleted:
            ++mHeard[heardIndex(notice.what)];
            return;
        case APipe::kWhatFlushCompleted:
        case APipe::kWhatReleaseCompleted:
            ++mHeard[heardIndex(notice.what)];
            return acknowledge(static_cast<APipe::Notice>(notice.what));
        default:
            return;
    }
}

size_t Client::heard(APipe::Notice what) const {
    const std::lock_guard lock(mLock);
    return mHeard[heardIndex(what)];
}

std::string Client::awayText(const std::vector<Role>& roles) const {
    const std::lock_guard lock(mLock);
    std::string text;
    for (const Role role : roles) {
        for (size_t index = 0; index < mSlots[role].size(); ++index)
            if (mSlots[role][index].away) text += (text.empty() ? "" : ", ") + nameOf(role, index);
    }
    return text;
}

void Client::checkHome() {
    const std::lock_guard lock(mLock);
    for (const Role role : {Input, SubInput, Output})
        for (const Slot& slot : mSlots[role])
            if (!slot.away) checkIsAsLeft(role, slot);
}

void Client::checkIsAsLeft(Role role, const Slot& slot) {
    if (digestOf(slot.buffer) == slot.digest) return;
    const auto index = static_cast<size_t>(&slot - mSlots[role].data());
    mWitness->complain("R-ALONE", nameOf(role, index) + " was written while it was at home");
}

void Client::takeHome(Slot* slot) {
    slot->away = false;
    slot->digest = digestOf(slot->buffer);
}

Client::Slot* Client::slotOf(Role role, int32_t bufferId) {
    const auto index = static_cast<size_t>(bufferId - kRoleIds * role);
    return index < mSlots[role].size() ? &mSlots[role][index] : nullptr;
}

bool Client::isAway(Role role, int32_t bufferId) {
    const Slot* const slot = slotOf(role, bufferId);
    return slot != nullptr && slot->away;
}

void Client::bringHome(Role role, int32_t bufferId) {
    Slot* const slot = slotOf(role, bufferId);
    if (slot == nullptr) {
        return mWitness->complain("R-HOME", std::string("a notice of an ") + kRoleNames[role] +
                                                " with the wrong id " + std::to_string(bufferId));
    }
    if (!slot->away) {
        const auto index = static_cast<size_t>(slot - mSlots[role].data());
        return mWitness->complain("R-HOME", nameOf(role, index) + " came home twice");
    }
    takeHome(slot);
}

void Client::checkFrame(const ClientHandler::Notice& notice) {
    if (notice.flag != APipe::kBufferWithFrame) return;
    ++mWitness->frames;
    const std::string name = "the frame of " + std::to_string(notice.timeUs) + " us";
    const auto number = static_cast<size_t>(notice.timeUs / kFrameUs);
    const Slot* const slot = slotOf(Output, notice.bufferId);
    if (number >= mFrames.size() || notice.timeUs % kFrameUs != 0 || slot == nullptr)
        return mWitness->complain("R-PIXELS", name + " does not exist");
    Frame& frame = mFrames[number];
    if (std::exchange(frame.delivered, true)) mWitness->complain("R-PIXELS", name + " came twice");
    if (frame.forgotten)
        mWitness->complain("R-FLUSH", name + " came after the notice of its flush");
    if (mOrdered && static_cast<int64_t>(number) <= mLastFrame)
        mWitness->complain("R-ORDER", name + " came after later ones");
    mLastFrame = static_cast<int64_t>(number);
    checkRecord(notice, *slot, frame);
}

void Client::checkRecord(const ClientHandler::Notice& notice, const Slot& slot,
                         const Frame& frame) {
    const std::string name = "the frame of " + std::to_string(notice.timeUs) + " us";
    const auto number = notice.timeUs / kFrameUs;
    const auto meta = slot.buffer->getMeta();
    int64_t timeUs = -1;
    int32_t eos = 0;
    meta->findInt64("timeUs", &timeUs);
    meta->findInt32("eos", &eos);
    if (timeUs != notice.timeUs)
        mWitness->complain("R-PIXELS", name + " came with another time in its buffer");
    if ((eos != 0) != frame.isLast)
        mWitness->complain("R-PIXELS", name + (eos != 0 ? " says \"eos\", and its input did not"
                                                        : " has lost the \"eos\" of its input"));
    if (!frame.hasPixels && !frame.isLast)
        mWitness->complain("R-PIXELS", name + " came, and its input had no pixels");
    if (!frame.isLast && frame.hasPixels && !mFormats.isRight(slot.buffer, number))
        mWitness->complain("R-PIXELS", name + " came with other pixels");
    // A range says in its operation which frames it is for.
    int32_t operation = 0;
    const bool tagged = meta->findInt32("operation", &operation);
    if (tagged && operation != static_cast<int32_t>(number / 4))
        mWitness->complain("R-PIXELS", name + " came with the operation of another");
}

void Client::acknowledge(APipe::Notice what) {
    if (mExpected.empty() || mExpected.front().what != what)
        return mWitness->complain("R-NOTICE", "a completion notice that nobody waits for");
    const bool isEnd = what == APipe::kWhatReleaseCompleted;
    const uint64_t calledAt = mExpected.front().calledAt;
    mExpected.pop_front();
    if (isEnd) mMayHold = false;
    const auto isBefore = [&](uint64_t at) { return at != 0 && (isEnd || at < calledAt); };
    for (auto& slots : mSlots) {
        for (Slot& slot : slots)
            if (slot.away && isBefore(slot.returnedAt)) takeHome(&slot);
    }
    for (auto frame = mFrames.rbegin(); frame != mFrames.rend() && !frame->forgotten; ++frame)
        frame->forgotten = isBefore(frame->returnedAt);
}

}  // namespace plexa::kit
