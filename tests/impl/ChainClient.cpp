// The rules of the notices, from the client's side.
#include "ChainClient.h"

#include <algorithm>
#include <utility>

#include "support/TestStage.h"

namespace plexa {

using android::APipe;
using android::APipeBuffer;
using android::sp;
using android::status_t;

namespace {

// A buffer's id tells its role.
constexpr int32_t kRoleIds = 100;
constexpr std::array<size_t, 3> kBuffers = {6, 4, 5};

size_t heardIndex(int32_t what) {
    if (what == APipe::kWhatInitCompleted) return 0;
    return what == APipe::kWhatFlushCompleted ? 1 : 2;
}

}  // namespace

ChainClient::ChainClient(int depth, std::shared_ptr<ChainWitness> witness)
    : mDepth(depth), mWitness(std::move(witness)) {
    for (size_t role = 0; role < mSlots.size(); ++role) {
        mSlots[role].resize(kBuffers[role]);
        for (Slot& slot : mSlots[role]) {
            slot.buffer = localBuffer();
            mWitness->watch(slot.buffer);
        }
    }
}

std::optional<ChainClient::Claim> ChainClient::claim(Role role, int64_t subInputFrame) {
    const std::lock_guard lock(mLock);
    auto& slots = mSlots[role];
    const auto slot =
        std::find_if(slots.begin(), slots.end(), [](const Slot& one) { return !one.away; });
    if (slot == slots.end()) return std::nullopt;
    slot->away = true;
    slot->queueing = ++mClock;
    slot->returnedAt = 0;
    const auto index = static_cast<size_t>(slot - slots.begin());
    const auto meta = slot->buffer->getMeta();
    meta->clear();
    meta->setInt32("bufferId", static_cast<int32_t>(index) + kRoleIds * role);
    if (role == Input) {
        subInputFrame = static_cast<int64_t>(mFrames.size());
        mFrames.push_back({});
    }
    if (role != Output) meta->setInt64("timeUs", subInputFrame * kFrameUs);
    fillFrame(slot->buffer, role == Input ? stampOf(subInputFrame * kFrameUs, 0) : 0);
    return Claim{slot->buffer, role, index, slot->queueing, subInputFrame};
}

void ChainClient::settle(const Claim& claim, status_t status) {
    const std::lock_guard lock(mLock);
    Slot& slot = mSlots[claim.role][claim.index];
    const bool isHome = !slot.away || slot.queueing != claim.queueing;
    if (isHome && status != android::OK) complain("a notice tells of a buffer that was refused");
    if (isHome) return;
    // A message that a release overtook was dropped, also when its posting had succeeded.
    if (status != android::OK || !mMayHold) {
        slot.away = false;
        return;
    }
    slot.returnedAt = ++mClock;
    if (claim.role == Input) mFrames[static_cast<size_t>(claim.frame)].returnedAt = mClock;
}

int64_t ChainClient::newFrame() {
    const std::lock_guard lock(mLock);
    mFrames.push_back({});
    return static_cast<int64_t>(mFrames.size()) - 1;
}

int64_t ChainClient::frameCount() const {
    const std::lock_guard lock(mLock);
    return static_cast<int64_t>(mFrames.size());
}

void ChainClient::expect(APipe::Notice what) {
    const std::lock_guard lock(mLock);
    mExpected.push_back({what, ++mClock});
}

void ChainClient::expectChain(bool lives) {
    const std::lock_guard lock(mLock);
    mMayHold = lives;
}

bool ChainClient::isWaiting() const {
    const std::lock_guard lock(mLock);
    return !mExpected.empty();
}

void ChainClient::hear(const ClientHandler::Notice& notice) {
    const std::lock_guard lock(mLock);
    switch (notice.what) {
        case APipe::kWhatInputBufferDone:
            return bringHome(notice.bufferId >= kRoleIds ? SubInput : Input, notice.bufferId);
        case APipe::kWhatOutputBufferDone:
            checkFrame(notice);
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

size_t ChainClient::heard(APipe::Notice what) const {
    const std::lock_guard lock(mLock);
    return mHeard[heardIndex(what)];
}

size_t ChainClient::away(Role role) const {
    const std::lock_guard lock(mLock);
    return static_cast<size_t>(std::count_if(mSlots[role].begin(), mSlots[role].end(),
                                             [](const Slot& slot) { return slot.away; }));
}

ChainClient::Slot* ChainClient::slotOf(Role role, int32_t bufferId) {
    const auto index = static_cast<size_t>(bufferId - kRoleIds * role);
    return index < mSlots[role].size() ? &mSlots[role][index] : nullptr;
}

void ChainClient::bringHome(Role role, int32_t bufferId) {
    Slot* const slot = slotOf(role, bufferId);
    if (slot == nullptr) return complain("a notice with a wrong id: " + std::to_string(bufferId));
    if (!slot->away) complain("buffer " + std::to_string(bufferId) + " came home twice");
    slot->away = false;
}

void ChainClient::checkFrame(const ClientHandler::Notice& notice) {
    if (notice.flag != APipe::kBufferWithFrame) return;
    const std::string name = "the frame of " + std::to_string(notice.timeUs);
    const auto number = static_cast<size_t>(notice.timeUs / kFrameUs);
    const Slot* const slot = slotOf(Output, notice.bufferId);
    if (number >= mFrames.size() || notice.timeUs % kFrameUs != 0 || slot == nullptr)
        return complain(name + " does not exist");
    Frame& frame = mFrames[number];
    if (std::exchange(frame.delivered, true)) complain(name + " came twice");
    if (frame.forgotten) complain(name + " came after the notice of its flush");
    const auto meta = slot->buffer->getMeta();
    int64_t timeUs = -1;
    int32_t eos = 0;
    meta->findInt64("timeUs", &timeUs);
    meta->findInt32("eos", &eos);
    if (timeUs != notice.timeUs) complain(name + " came with another time in its buffer");
    if (eos == 0 && !frameHas(slot->buffer, stampOf(notice.timeUs, mDepth)))
        complain(name + " came with other pixels");
    if (mOrdered && static_cast<int64_t>(number) <= mLastFrame) complain(name + " came late");
    mLastFrame = static_cast<int64_t>(number);
    // A range says in its operation which frames it is for.
    int32_t operation = 0;
    const bool tagged = meta->findInt32("operation", &operation);
    if (tagged && operation != static_cast<int32_t>(number / 4))
        complain(name + " came with the operation of another");
}

void ChainClient::acknowledge(APipe::Notice what) {
    if (mExpected.empty() || mExpected.front().what != what)
        return complain("a completion notice that nobody waits for");
    const bool isEnd = what == APipe::kWhatReleaseCompleted;
    const uint64_t calledAt = mExpected.front().calledAt;
    mExpected.pop_front();
    if (isEnd) mMayHold = false;
    const auto isBefore = [&](uint64_t at) { return at != 0 && (isEnd || at < calledAt); };
    for (auto& slots : mSlots) {
        for (Slot& slot : slots)
            if (isBefore(slot.returnedAt)) slot.away = false;
    }
    for (auto frame = mFrames.rbegin(); frame != mFrames.rend() && !frame->forgotten; ++frame)
        frame->forgotten = isBefore(frame->returnedAt);
}

}  // namespace plexa
