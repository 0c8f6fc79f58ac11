// The engine of a random chain's stage.
#include "ChainStage.h"

#include <cstring>
#include <set>
#include <utility>

#include "support/TestStage.h"

namespace plexa {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeBufferPool;
using android::APipeItem;
using android::sp;
using android::status_t;

namespace {

constexpr uint32_t kWhatWorked = 0x776f726b;

// Opens a generator's outputs.
template <typename G>
struct Opened : public G {
    using G::G;
    using G::mOutputBuffers;
};

struct OpenedBase : public Opened<android::APipeItemGenerator> {
    OpenedBase() : Opened("base") {}
};

sp<APipeBuffer> ifOfPool(const sp<APipeBuffer>& buffer) {
    if (buffer == nullptr || !buffer->getMeta()->contains("reply")) return nullptr;
    return buffer;
}

}  // namespace

ModelStage::ModelStage(const sp<APipe>& next, const sp<AMessage>& notify, const StagePlan& plan,
                       int depth, std::shared_ptr<ChainWitness> witness)
    : APipe(next, notify, std::string("Model") + static_cast<char>('0' + depth)),
      mPlan(plan),
      mDepth(depth),
      mWitness(std::move(witness)) {
    ++mWitness->stages;
    switch (plan.generator) {
        case Generator::Base:
            makeGenerator<OpenedBase>();
            break;
        case Generator::Csc:
            makeGenerator<Opened<android::APipeCSCItemGenerator>>();
            break;
        case Generator::Filter:
            makeGenerator<Opened<android::APipeFilterItemGenerator>>();
            break;
        case Generator::Portrait:
            makeGenerator<Opened<android::APipePortraitItemGenerator>>();
            break;
        case Generator::None:
            break;
    }
}

ModelStage::~ModelStage() {
    --mWitness->stages;
}

template <typename G>
void ModelStage::makeGenerator() {
    const sp<G> generator = new G();
    setItemGenerator(generator);
    mWaitingOutputs = [open = generator.get()] { return open->mOutputBuffers; };
}

void ModelStage::setPaused(bool paused) {
    if (mItemGenerator != nullptr) mItemGenerator->mPaused = paused;
}

int ModelStage::poolSize() const {
    if (mNextPipe == nullptr) return 0;
    return mPlan.poolSize + (mPlan.waitList ? 2 : 0);
}

int ModelStage::countPoolBuffers() {
    if (mNextPipe == nullptr || mBufferPool == nullptr) return 0;
    std::vector<sp<APipeBuffer>> taken;
    for (const bool wait : {true, false}) {
        while (const auto buffer = mBufferPool->acquireBuffer(wait)) {
            setReply(buffer);
            taken.push_back(buffer);
        }
    }
    std::set<const APipeBuffer*> different;
    std::set<int32_t> ids;
    const auto waiting = mWaitingOutputs();
    const auto note = [&](const sp<APipeBuffer>& buffer) {
        int32_t id = -1;
        buffer->getMeta()->findInt32("id", &id);
        return different.insert(buffer.get()).second && ids.insert(id).second;
    };
    bool once = true;
    for (const auto& buffer : taken)
        once &= note(buffer);
    for (const auto& buffer : waiting)
        once &= note(buffer);
    for (const auto& buffer : taken)
        mBufferPool->returnBuffer(buffer);
    return once ? static_cast<int>(different.size()) : -1;
}

void ModelStage::onMessageReceived(const sp<AMessage>& msg) {
    if (msg->what() == kWhatWorked) return finishWork();
    APipe::onMessageReceived(msg);
}

void ModelStage::onInit(const sp<AMessage>& msg) {
    mWork = {};
    const auto format = mPlan.graphicsMemory ? APipeBuffer::Rgba8888 : APipeBuffer::Nv12;
    if (setBufferInfo(mPlan.poolSize, kFrameWidth, kFrameHeight, format, mPlan.waitList) !=
        android::OK) {
        return notifyError(android::UNKNOWN_ERROR);
    }
    APipe::onInit(msg);
}

void ModelStage::onRelease() {
    mWork = {};
    APipe::onRelease();
}

void ModelStage::onWork() {
    if (mPlan.engineUs == 0) return workOnFirst();
    if (mWork.item == nullptr && !mWorkItems.empty()) startWork();
    APipe::onWork();
}

void ModelStage::startWork() {
    mWork.item = *mWorkItems.begin();
    mWork.poolInput = ifOfPool(mWork.item->mInput);
    mWork.poolOutput = ifOfPool(mWork.item->mOutput);
    if (mWork.poolInput != nullptr) mWork.poolInput->getMeta()->findInt64("timeUs", &mWork.timeUs);
    (new AMessage(kWhatWorked, this))->post(mPlan.engineUs);
}

void ModelStage::finishWork() {
    const Work work = std::exchange(mWork, {});
    if (work.item == nullptr) return;
    int32_t eos = 0;
    if (work.poolInput != nullptr) work.poolInput->getMeta()->findInt32("eos", &eos);
    if (work.poolInput != nullptr && eos == 0 &&
        !frameHas(work.poolInput, stampOf(work.timeUs, mDepth))) {
        mWitness->complain("a frame was overwritten under its reader");
    }
    if (work.poolInput != nullptr && work.poolOutput != nullptr)
        fillFrame(work.poolOutput, stampOf(work.timeUs, mDepth + 1));
    if (!mWorkItems.empty() && *mWorkItems.begin() == work.item) workOnFirst();
    if (!mWorkItems.empty()) onWork();
}

void ModelStage::workOnFirst() {
    workOnFirstItem([this](const APipeItem& item) { return fill(item); });
}

status_t ModelStage::fill(const APipeItem& item) {
    if (mFailsNext.exchange(false)) return android::UNKNOWN_ERROR;
    int64_t timeUs = 0;
    item.mInput->getMeta()->findInt64("timeUs", &timeUs);
    if (!frameHas(item.mInput, stampOf(timeUs, mDepth))) {
        mWitness->complain("stage " + std::to_string(mDepth) +
                           " reads another frame than that of " + std::to_string(timeUs));
    }
    int64_t subTimeUs = timeUs;
    if (item.mSubInput != nullptr) item.mSubInput->getMeta()->findInt64("timeUs", &subTimeUs);
    if (subTimeUs != timeUs) mWitness->complain("a frame got the sub input of another");
    sp<android::ABuffer> frameMeta;
    if (mPlan.generator == Generator::Portrait &&
        (!item.mInput->getMeta()->findBuffer("frameMeta", &frameMeta) ||
         std::memcmp(frameMeta->data(), &timeUs, sizeof(timeUs)) != 0)) {
        mWitness->complain("a frame got the metadata of another");
    }
    fillFrame(item.mOutput, stampOf(timeUs, mDepth + 1));
    if (++mWitness->frames % 16 == 0) {
        mWitness->watch(item.mInput);
        mWitness->watch(item.mOutput);
    }
    return android::OK;
}

}  // namespace plexa
