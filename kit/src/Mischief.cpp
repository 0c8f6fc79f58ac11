// What a story's client should not do, and what does not work.
#include <host/FaultInjection.h>
#include <kit/ClientCallback.h>

#include <utility>

#include "Actor.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::AMessage;
using android::APipe;
using android::APipeItem;
using android::sp;
using android::status_t;
using android::host::Fault;
using android::host::FaultInjection;

namespace {

// The calling thread is a client's, inside a call of a stage that may call back.
thread_local bool tInsideCall = false;

// Threading: thread-safe, while the actor lives.
class Callback : public ClientCallback {
public:
    explicit Callback(Actor* actor) : mActor(actor) {}
    void call() override { mActor->onCallback(); }

private:
    Actor* const mActor;
};

}  // namespace

void Actor::queueMalformed(uint32_t arg) {
    switch (arg % 7) {
        case 0:
            tell("queue nothing");
            if (queue(0, nullptr) != android::BAD_VALUE)
                mWitness->complain("R-REFUSE", "a null item was taken");
            return;
        case 1:
            tell("queue empty metadata");
            if (mStages.back()->queueItemMeta(new AMessage) != android::BAD_VALUE)
                mWitness->complain("R-REFUSE", "empty metadata was taken");
            return;
        case 2:
            tell("queue an empty item");
            queue(0, new APipeItem);
            return;
        case 3:
            return queueUntimed();
        case 4:
            return queueBoth();
        case 5:
            return queueWithoutId(oneIn(2, arg));
        case 6:
            return queueWithoutPixels();
    }
}

void Actor::queueUntimed() {
    mSteady = false;
    const auto input = mClient->claim(Client::Input);
    if (!input) return;
    const auto meta = input->buffer->getMeta();
    int32_t bufferId = 0;
    meta->findInt32("bufferId", &bufferId);
    meta->clear();
    meta->setInt32("bufferId", bufferId);
    settle(*input, queue(0, itemOf(input->buffer, nullptr)), " without a time");
}

void Actor::queueBoth() {
    const auto input = mClient->claim(Client::Input);
    if (!input) return;
    const auto output = mClient->claim(Client::Output);
    const status_t status = queue(0, itemOf(input->buffer, output ? output->buffer : nullptr));
    settle(*input, status);
    if (output) settle(*output, status, " in the same item");
}

void Actor::queueWithoutId(bool asOutput) {
    mSteady = false;
    const FrameFormat& format = asOutput ? mSetting.gives : mSetting.takes;
    const auto buffer = newFrame(format);
    const int64_t frame = asOutput ? kNoFrame : mClient->addFrame();
    // A fault on order may have struck here.
    if (buffer == nullptr || !FramePainter(format).paint(buffer, frame)) return;
    tell(std::string("queue an ") + (asOutput ? "output" : "input") + " without an id");
    if (asOutput) {
        queue(mStages.size() - 1, itemOf(nullptr, buffer));
        return;
    }
    buffer->getMeta()->setInt64("timeUs", frame * Client::kFrameUs);
    queue(0, itemOf(buffer, nullptr));
}

// The engine of a given stage has to fail on it; one of the kit's would not.
void Actor::queueWithoutPixels() {
    if (mNeighbours.front() != nullptr) return;
    mSteady = false;
    const auto input = mClient->claimInputWithoutPixels();
    if (!input) return;
    settle(*input, queue(0, itemOf(input->buffer, nullptr)), " without pixels");
}

void Actor::setRanges() {
    const auto first = static_cast<int32_t>(mClient->frameCount() / 4);
    std::vector<android::APipeRangeInfo> ranges;
    for (int32_t k = first; k >= 0 && k > first - 3; --k)
        ranges.push_back({4 * k * Client::kFrameUs, (4 * k + 3) * Client::kFrameUs, k});
    tell("set ranges");
    mStages.front()->setRangeInfos(ranges);
}

void Actor::setParameter(size_t stage, uint32_t arg) {
    tell("set parameters");
    mStages[stage]->setParameter(1, static_cast<int>(arg));
    mStages[stage]->setParameter(2, std::string("value"));
    const sp<AMessage> message = new AMessage;
    message->setObject("callback", new Callback(this));
    const bool wasInside = std::exchange(tInsideCall, true);
    mStages[stage]->setParameter(3, message);
    tInsideCall = wasInside;
}

void Actor::onCallback() {
    flush();
    if (std::exchange(tInsideCall, false)) mRest(*this);
}

void Actor::setPaused(size_t stage, bool paused) {
    mSteady = false;
    const auto generator = StageAccess::generatorOf(mStages[stage]);
    if (generator == nullptr) return;
    tell((paused ? "pause " : "resume ") + nameOf(stage));
    generator->mPaused = paused;
}

void Actor::failEngine(size_t stage) {
    if (mNeighbours[stage] == nullptr) return queueWithoutPixels();
    tell("fail the next frame of " + nameOf(stage));
    mNeighbours[stage]->failNextFrame();
}

void Actor::failSystem(uint32_t arg) {
    constexpr std::pair<Fault, const char*> kFaults[] = {
        {Fault::ThreadStart, "thread"},
        {Fault::GraphicsAllocate, "allocation"},
        {Fault::GraphicsMap, "mapping"},
        {Fault::GraphicsLock, "lock"},
    };
    mSteady = false;
    const auto& [fault, name] = kFaults[arg % 4];
    const uint32_t nth = 1 + (arg >> 8U) % 3;
    tell("fail " + std::string(name) + " " + std::to_string(nth) + " from now");
    FaultInjection::failNth(fault, nth);
}

}  // namespace plexa::kit
