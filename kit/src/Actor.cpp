// What the client of a story's chain does.
#include "Actor.h"

#include <host/FaultInjection.h>
#include <kit/Formats.h>

#include <algorithm>
#include <utility>

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

bool proves(const Story& story) {
    return std::ranges::any_of(
        story.stages, [](const StagePlan& stage) { return stage.given != StagePlan::kNeighbour; });
}

// The frames of a story's client, from the first stage's input to the last one's output.
ClientFormats formatsOf(const Setting& setting, const Story& story) {
    ClientFormats formats{setting.takes, setting.takes, setting.gives};
    formats.isRight = [&setting, behind = proves(story)](const auto& output, int64_t frame) {
        return setting.isRight(output, frame, behind);
    };
    return formats;
}

}  // namespace

Actor::Actor(const Setting& setting, const Story& story, const std::shared_ptr<Witness>& witness,
             bool oneClient, std::function<void(Actor&)> rest)
    : mSetting(setting),
      mStory(story),
      mWitness(witness),
      mClient(std::make_shared<Client>(formatsOf(setting, story), witness)),
      mRest(std::move(rest)),
      mHandler(ClientHandler::create([this](const ClientHandler::Notice& notice) {
          if (notice.what == APipe::kWhatError) mHeardError = true;
          mClient->hear(notice);
      })),
      mNextSubInput(story.stages.size()),
      mNextMetadata(story.stages.size()) {
    makeChain(story);
    mSteady = std::ranges::all_of(mStages, keepsOrder);
    if (mSteady && oneClient) mClient->requireOrder();
}

Actor::~Actor() {
    mHandler->stop();
    FaultInjection::clear();
}

void Actor::makeChain(const Story& story) {
    bool behind = proves(story);
    sp<APipe> next;
    for (auto it = story.stages.rbegin(); it != story.stages.rend(); ++it) {
        const StagePlan& plan = *it;
        sp<NeighbourStage> neighbour;
        if (plan.given != StagePlan::kNeighbour) {
            behind = false;
            next =
                newStage(mSetting.given[static_cast<size_t>(plan.given)], next, mHandler->notify());
        } else {
            const FrameFormat& format = behind ? mSetting.gives : mSetting.takes;
            const bool other = plan.otherMemory && mSetting.given.empty();
            const int32_t color = other ? static_cast<int32_t>(android::APipeBuffer::Nv12Ubwc)
                                        : poolColorFor(format).value_or(format.color);
            neighbour = new NeighbourStage(
                next, mHandler->notify(), plan,
                {color, format.width, format.height,
                 [&setting = mSetting, behind](const auto& input, int64_t frame) {
                     return setting.isRight(input, frame, behind);
                 }},
                mWitness);
            next = neighbour;
        }
        mStages.insert(mStages.begin(), next);
        mNeighbours.insert(mNeighbours.begin(), neighbour);
    }
}

std::string Actor::nameOf(size_t stage) const {
    const int given = mStory.stages[stage].given;
    return given == StagePlan::kNeighbour ? "neighbour " + std::to_string(stage)
                                          : mSetting.given[static_cast<size_t>(given)].name;
}

void Actor::act(const Op& op) {
    size_t stage = op.arg % mStages.size();
    int64_t frame = 0;
    switch (op.act) {
        case Act::QueueInput:
            return queueInput(op.arg);
        case Act::QueueOutput:
            return queueOutput(op.arg);
        case Act::QueueSubInput:
            if (drawPart(mNextSubInput, op.arg, &stage, &frame)) queueSubInput(stage, frame);
            return;
        case Act::QueueMetadata:
            if (drawPart(mNextMetadata, op.arg, &stage, &frame)) queueMetadata(stage, frame);
            return;
        case Act::QueueMalformed:
            return queueMalformed(op.arg);
        case Act::Flush:
            return flush();
        case Act::Release:
            return release();
        case Act::Init:
            return init();
        case Act::SetRanges:
            return setRanges();
        case Act::SetParameter:
            return setParameter(stage, op.arg);
        case Act::Pause:
            return setPaused(stage, !oneIn(2, op.arg));
        case Act::RaiseGeneration:
            mSteady = false;
            tell("raise the generation of " + nameOf(stage));
            return mStages[stage]->setBufferGeneration();
        case Act::FailEngine:
            return failEngine(stage);
        case Act::FailSystem:
            return failSystem(op.arg);
        case Act::Run:
            return;
    }
}

void Actor::init() {
    const std::lock_guard lock(mControl);
    const bool waiting = mClient->isWaiting();
    if (mLoop == Loop::Releasing && waiting) return;
    FrameFormat dst = mSetting.takes;
    dst.color = plainOf(dst.color);
    if (mLoop != Loop::Running) {
        mClient->expectChain(true);
        mFramesAtInit = mWitness->frames;
    }
    tell("init");
    const status_t status = mStages.front()->init(formatOf(mSetting.takes), formatOf(dst));
    if (mLoop == Loop::Running) {
        if (status != android::INVALID_OPERATION)
            mWitness->complain("R-MATRIX", "an init on a running loop was not refused");
        return;
    }
    if (status == android::INVALID_OPERATION) mWitness->complain("R-AGAIN", "an init was refused");
    mLoop = status == android::OK ? Loop::Running : Loop::None;
    if (mLoop == Loop::None) mClient->expectChain(false);
}

void Actor::flush() {
    const std::lock_guard lock(mControl);
    if (mLoop == Loop::Running) mClient->expect(APipe::kWhatFlushCompleted);
    tell("flush");
    mStages.front()->flush();
}

void Actor::release() {
    const std::lock_guard lock(mControl);
    if (mLoop == Loop::Running) {
        mClient->expect(APipe::kWhatReleaseCompleted);
        mLoop = Loop::Releasing;
    }
    tell("release");
    mStages.front()->release();
}

void Actor::calm() {
    FaultInjection::clear();
    for (size_t stage = 0; stage < mStages.size(); ++stage) {
        const auto generator = StageAccess::generatorOf(mStages[stage]);
        if (generator != nullptr) generator->mPaused = false;
        if (mNeighbours[stage] != nullptr) mNeighbours[stage]->letNextFramePass();
    }
}

void Actor::queueWholeFrame() {
    const int64_t frame = mClient->frameCount();
    for (size_t stage = 0; stage < mStages.size(); ++stage) {
        if (!needsParts(mStages[stage])) continue;
        queueMetadata(stage, frame);
        queueSubInput(stage, frame);
    }
    if (!asPairs()) queueOutput(0);
    queueInput(1);
}

void Actor::dropStages(bool firstFirst) {
    mNeighbours.clear();
    while (!mStages.empty())
        mStages.erase(firstFirst ? mStages.begin() : mStages.end() - 1);
}

bool Actor::mustFlow() const {
    return mSteady && !mHeardError && mLoop == Loop::Running;
}

bool Actor::poolsAreWhole() const {
    for (size_t stage = 0; stage < mStages.size(); ++stage) {
        const int given = mStory.stages[stage].given;
        const bool isLast = stage + 1 == mStages.size();
        int size = 0;
        if (given == StagePlan::kNeighbour) {
            size = mNeighbours[stage]->poolSize();
        } else if (!isLast && static_cast<size_t>(given) < mSetting.pools.size()) {
            size = mSetting.pools[static_cast<size_t>(given)];
        }
        if (StageAccess::countPoolBuffers(mStages[stage]) != size) return false;
    }
    return true;
}

void Actor::checkLedgers() const {
    for (size_t stage = 0; stage < mStages.size(); ++stage) {
        const android::APipeCounts counts = mStages[stage]->getCounts();
        const bool keepsNothing = mNeighbours[stage] != nullptr;
        if (counts.held < 0 || counts.kept < 0 || (keepsNothing && counts.kept > 0))
            mWitness->complain("R-LEDGER", nameOf(stage) + " " + counts.toString());
    }
}

void Actor::checkLedgerOfFrames() const {
    if (mStages.empty() || !mustFlow()) return;
    const android::APipeCounts counts = mStages.back()->getCounts();
    const uint64_t heard = mWitness->frames - mFramesAtInit;
    if (static_cast<uint64_t>(counts.sentOn) != heard)
        mWitness->complain("R-LEDGER", "the client heard of " + std::to_string(heard) +
                                           " frames, the last stage " + counts.toString());
}

std::vector<std::string> Actor::threadNames() const {
    constexpr size_t kKernelNameLength = 15;
    std::vector<std::string> names;
    for (const sp<APipe>& stage : mStages)
        names.push_back((StageAccess::nameOf(stage) + "_Looper").substr(0, kKernelNameLength));
    return names;
}

// --- Queueing ---

sp<APipeItem> Actor::itemOf(const sp<android::APipeBuffer>& input,
                            const sp<android::APipeBuffer>& output) {
    const sp<APipeItem> item = new APipeItem;
    item->mInput = input;
    item->mOutput = output;
    return item;
}

status_t Actor::queue(size_t stage, const sp<APipeItem>& item) {
    return mStages[stage]->queueItem(item);
}

void Actor::settle(const Client::Claim& claim, status_t status, const std::string& how) {
    tell("queue " + claim.text() + how + (status == android::OK ? "" : ", refused"));
    mClient->settle(claim, status);
}

bool Actor::mayQueueInto(size_t stage, uint32_t arg) {
    if (stage == 0 || !mClient->isWaiting()) return true;
    // As the header warns, what is queued now may be lost until the next flush.
    if (oneIn(8, arg)) mSteady = false;
    return oneIn(8, arg);
}

bool Actor::asPairs() const {
    return mNeighbours.front() != nullptr && mStory.stages.front().generator == Generator::None;
}

void Actor::queueInput(uint32_t arg) {
    const auto output = asPairs() ? mClient->claim(Client::Output) : std::nullopt;
    if (asPairs() && !output) return;
    const auto input = mClient->claim(Client::Input);
    if (!input) {
        if (output) mClient->settle(*output, android::BAD_VALUE);
        return;
    }
    if (arg % 16 == 0) mClient->markAsLast(*input);
    if (oneIn(8, arg)) input->buffer->getMeta()->setInt32("use-wait-buffer", 1);
    const status_t status = queue(0, itemOf(input->buffer, output ? output->buffer : nullptr));
    settle(*input, status);
    if (output) settle(*output, status);
}

void Actor::queueOutput(uint32_t arg) {
    const size_t last = mStages.size() - 1;
    if (asPairs() || !mayQueueInto(last, arg)) return;
    if (const auto output = mClient->claim(Client::Output))
        settle(*output, queue(last, itemOf(nullptr, output->buffer)));
}

bool Actor::drawPart(std::vector<std::atomic<int64_t>>& next, uint32_t arg, size_t* stage,
                     int64_t* frame) {
    for (size_t tries = 0; !needsParts(mStages[*stage]); ++tries) {
        if (tries == mStages.size()) return false;
        *stage = (*stage + 1) % mStages.size();
    }
    if (!mayQueueInto(*stage, arg)) return false;
    const int64_t newest = mClient->frameCount();
    // Mostly in step with the inputs; now and then a frame too early or too late.
    int64_t at = std::max(next[*stage].load(), newest - 6);
    if (oneIn(10, arg)) ++at;
    next[*stage] = at + 1;
    *frame = std::min(at, newest + 2);
    return true;
}

void Actor::queueSubInput(size_t stage, int64_t frame) {
    const auto sub = mClient->claim(Client::SubInput, frame);
    if (!sub) return;
    const sp<APipeItem> item = new APipeItem;
    item->mSubInput = sub->buffer;
    settle(*sub, queue(stage, item));
}

void Actor::queueMetadata(size_t stage, int64_t frame) {
    tell("queue metadata of frame " + std::to_string(frame));
    mStages[stage]->queueItemMeta(metaOfFrame(frame));
}

}  // namespace plexa::kit
