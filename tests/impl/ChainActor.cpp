// What the client of a random chain does.
#include "ChainActor.h"

#include <host/FaultInjection.h>

#include <algorithm>
#include <cstring>
#include <ranges>

#include "support/TestStage.h"

namespace plexa {

using android::ABuffer;
using android::AMessage;
using android::APipe;
using android::APipeItem;
using android::sp;
using android::status_t;
using android::host::Fault;
using android::host::FaultInjection;

namespace {

bool oneIn(uint32_t n, uint32_t arg) {
    return (arg >> 8U) % n == 0;
}

sp<APipeItem> itemOf(const sp<android::APipeBuffer>& input,
                     const sp<android::APipeBuffer>& output) {
    const sp<APipeItem> item = new APipeItem;
    item->mInput = input;
    item->mOutput = output;
    return item;
}

}  // namespace

ChainActor::ChainActor(const ChainPlan& plan, const std::shared_ptr<ChainWitness>& witness,
                       bool oneClient)
    : mPlan(plan),
      mWitness(witness),
      mClient(std::make_shared<ChainClient>(static_cast<int>(plan.stages.size()), witness)),
      mHandler(ClientHandler::create([this](const ClientHandler::Notice& notice) {
          if (notice.what == APipe::kWhatError) mHeardError = true;
          mClient->hear(notice);
      })),
      mNextSubInput(plan.stages.size()),
      mNextMetadata(plan.stages.size()) {
    sp<ModelStage> next;
    for (int depth = static_cast<int>(plan.stages.size()) - 1; depth >= 0; --depth) {
        next = new ModelStage(next, mHandler->notify(), plan.stages[static_cast<size_t>(depth)],
                              depth, witness);
        mStages.insert(mStages.begin(), next);
    }
    mSteady = std::ranges::all_of(plan.stages, [](const StagePlan& stage) {
        return stage.generator == Generator::Base || stage.generator == Generator::None;
    });
    if (mSteady && oneClient) mClient->requireOrder();
}

ChainActor::~ChainActor() {
    mHandler->stop();
    FaultInjection::clear();
}

void ChainActor::act(const Op& op) {
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
            return setParameter(op.arg);
        case Act::Pause:
            mSteady = false;
            return mStages[stage]->setPaused(!oneIn(2, op.arg));
        case Act::RaiseGeneration:
            mSteady = false;
            return mStages[stage]->setBufferGeneration();
        case Act::FailEngine:
            return mStages[stage]->failNextFrame();
        case Act::FailSystem:
            return failSystem(op.arg);
        case Act::Run:
            return;
    }
}

void ChainActor::init() {
    const std::lock_guard lock(mControl);
    const bool waiting = mClient->isWaiting();
    if (mLoop == Loop::Releasing && waiting) return;
    const auto format = formatOf(android::APipeBuffer::Nv12, kFrameWidth, kFrameHeight);
    if (mLoop != Loop::Running) mClient->expectChain(true);
    const status_t status = mStages.front()->init(format, format);
    if (mLoop == Loop::Running) {
        if (status != android::INVALID_OPERATION) mWitness->complain("init on a running loop");
        return;
    }
    if (status == android::INVALID_OPERATION) mWitness->complain("init was refused");
    mLoop = status == android::OK ? Loop::Running : Loop::None;
    if (mLoop == Loop::None) mClient->expectChain(false);
}

void ChainActor::flush() {
    const std::lock_guard lock(mControl);
    if (mLoop == Loop::Running) mClient->expect(APipe::kWhatFlushCompleted);
    mStages.front()->flush();
}

void ChainActor::release() {
    const std::lock_guard lock(mControl);
    if (mLoop == Loop::Running) {
        mClient->expect(APipe::kWhatReleaseCompleted);
        mLoop = Loop::Releasing;
    }
    mStages.front()->release();
}

void ChainActor::calm() {
    FaultInjection::clear();
    for (const auto& stage : mStages) {
        stage->setPaused(false);
        stage->letNextFramePass();
    }
}

void ChainActor::queueWholeFrame() {
    const int64_t frame = mClient->frameCount();
    for (size_t stage = 0; stage < mStages.size(); ++stage) {
        if (!isPortrait(stage)) continue;
        queueMetadata(stage, frame);
        queueSubInput(stage, frame);
    }
    if (mPlan.stages.front().generator != Generator::None) queueOutput(0);
    queueInput(1);
}

void ChainActor::dropStages(bool firstFirst) {
    while (!mStages.empty())
        mStages.erase(firstFirst ? mStages.begin() : mStages.end() - 1);
}

bool ChainActor::mustFlow() const {
    return mSteady && !mHeardError && mLoop == Loop::Running;
}

// --- Queueing ---

status_t ChainActor::queue(size_t stage, const sp<APipeItem>& item) {
    return mStages[stage]->queueItem(item);
}

bool ChainActor::mayQueueInto(size_t stage, uint32_t arg) {
    if (stage == 0 || !mClient->isWaiting()) return true;
    // As the header warns, what is queued now may be lost until the next flush.
    if (oneIn(8, arg)) mSteady = false;
    return oneIn(8, arg);
}

void ChainActor::queueInput(uint32_t arg) {
    const bool asPair = mPlan.stages.front().generator == Generator::None;
    const auto output = asPair ? mClient->claim(ChainClient::Output) : std::nullopt;
    if (asPair && !output) return;
    const auto input = mClient->claim(ChainClient::Input);
    if (!input) {
        if (output) mClient->settle(*output, android::BAD_VALUE);
        return;
    }
    if (arg % 16 == 0) input->buffer->getMeta()->setInt32("eos", 1);
    if (oneIn(8, arg)) input->buffer->getMeta()->setInt32("use-wait-buffer", 1);
    const status_t status = queue(0, itemOf(input->buffer, output ? output->buffer : nullptr));
    mClient->settle(*input, status);
    if (output) mClient->settle(*output, status);
}

void ChainActor::queueOutput(uint32_t arg) {
    const size_t last = mStages.size() - 1;
    if (mPlan.stages.front().generator == Generator::None || !mayQueueInto(last, arg)) return;
    if (const auto output = mClient->claim(ChainClient::Output))
        mClient->settle(*output, queue(last, itemOf(nullptr, output->buffer)));
}

bool ChainActor::isPortrait(size_t stage) const {
    return mPlan.stages[stage].generator == Generator::Portrait;
}

bool ChainActor::drawPart(std::vector<std::atomic<int64_t>>& next, uint32_t arg, size_t* stage,
                          int64_t* frame) {
    for (size_t tries = 0; !isPortrait(*stage); ++tries) {
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

void ChainActor::queueSubInput(size_t stage, int64_t frame) {
    const auto sub = mClient->claim(ChainClient::SubInput, frame);
    if (!sub) return;
    const sp<APipeItem> item = new APipeItem;
    item->mSubInput = sub->buffer;
    mClient->settle(*sub, queue(stage, item));
}

void ChainActor::queueMetadata(size_t stage, int64_t frame) {
    const int64_t timeUs = frame * ChainClient::kFrameUs;
    const sp<ABuffer> frameMeta = new ABuffer(sizeof(timeUs));
    std::memcpy(frameMeta->data(), &timeUs, sizeof(timeUs));
    const sp<AMessage> meta = new AMessage;
    meta->setInt64("timeUs", timeUs);
    meta->setBuffer("frameMeta", frameMeta);
    mStages[stage]->queueItemMeta(meta);
}

// --- What should not be done, or does not work ---

void ChainActor::queueMalformed(uint32_t arg) {
    switch (arg % 6) {
        case 0:
            if (queue(0, nullptr) != android::BAD_VALUE) mWitness->complain("a null item taken");
            return;
        case 1:
            if (mStages.back()->queueItemMeta(new AMessage) != android::BAD_VALUE)
                mWitness->complain("empty metadata taken");
            return;
        case 2:
            queue(0, new APipeItem);
            return;
        case 3:
            return queueUntimed();
        case 4:
            return queueBoth();
        case 5:
            return queueWithoutId(oneIn(2, arg));
    }
}

void ChainActor::queueUntimed() {
    mSteady = false;
    const auto input = mClient->claim(ChainClient::Input);
    if (!input) return;
    const auto meta = input->buffer->getMeta();
    int32_t bufferId = 0;
    meta->findInt32("bufferId", &bufferId);
    meta->clear();
    meta->setInt32("bufferId", bufferId);
    mClient->settle(*input, queue(0, itemOf(input->buffer, nullptr)));
}

void ChainActor::queueBoth() {
    const auto input = mClient->claim(ChainClient::Input);
    if (!input) return;
    const auto output = mClient->claim(ChainClient::Output);
    const status_t status = queue(0, itemOf(input->buffer, output ? output->buffer : nullptr));
    mClient->settle(*input, status);
    if (output) mClient->settle(*output, status);
}

void ChainActor::queueWithoutId(bool asOutput) {
    mSteady = false;
    const auto buffer = localBuffer();
    if (asOutput) {
        queue(mStages.size() - 1, itemOf(nullptr, buffer));
        return;
    }
    const int64_t timeUs = mClient->newFrame() * ChainClient::kFrameUs;
    buffer->getMeta()->setInt64("timeUs", timeUs);
    fillFrame(buffer, stampOf(timeUs, 0));
    queue(0, itemOf(buffer, nullptr));
}

void ChainActor::setRanges() {
    const auto first = static_cast<int32_t>(mClient->frameCount() / 4);
    std::vector<android::APipeRangeInfo> ranges;
    for (int32_t k = first; k >= 0 && k > first - 3; --k)
        ranges.push_back({4 * k * ChainClient::kFrameUs, (4 * k + 3) * ChainClient::kFrameUs, k});
    mStages.front()->setRangeInfos(ranges);
}

void ChainActor::setParameter(uint32_t arg) {
    const auto& stage = mStages[arg % mStages.size()];
    stage->setParameter(1, static_cast<int>(arg));
    stage->setParameter(2, std::string("value"));
    stage->setParameter(3, sp<AMessage>(new AMessage));
}

void ChainActor::failSystem(uint32_t arg) {
    mSteady = false;
    const Fault fault = arg % 2 == 0 ? Fault::ThreadStart : Fault::GraphicsAllocate;
    FaultInjection::failNth(fault, 1 + (arg >> 8U) % 3);
}

}  // namespace plexa
