// The engine of a neighbour.
#include "NeighbourStage.h"

#include <kit/Client.h>
#include <kit/Frames.h>

#include <utility>

#include "Setting.h"

namespace plexa::kit {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeItem;
using android::sp;
using android::status_t;

namespace {

constexpr uint32_t kWhatWorked = 0x776f726b;

sp<APipeBuffer> ifOfPool(const sp<APipeBuffer>& buffer) {
    if (buffer == nullptr || !buffer->getMeta()->contains("reply")) return nullptr;
    return buffer;
}

}  // namespace

NeighbourStage::NeighbourStage(const sp<APipe>& next, const sp<AMessage>& notify,
                               const StagePlan& plan, const Surroundings& surroundings,
                               std::shared_ptr<Witness> witness)
    : APipe(next, notify, kName),
      mPlan(plan),
      mSurroundings(surroundings),
      mWitness(std::move(witness)) {
    ++mWitness->stages;
    setItemGenerator(newGenerator(plan.generator));
}

NeighbourStage::~NeighbourStage() {
    --mWitness->stages;
}

int NeighbourStage::poolSize() const {
    if (mNextPipe == nullptr) return 0;
    return mPlan.poolSize + (mPlan.waitList ? 2 : 0);
}

void NeighbourStage::onMessageReceived(const sp<AMessage>& msg) {
    if (msg->what() == kWhatWorked) return finishWork();
    APipe::onMessageReceived(msg);
}

void NeighbourStage::onInit(const sp<AMessage>& msg) {
    mWork = {};
    const auto color = static_cast<APipeBuffer::ColorFormat>(mSurroundings.poolColor);
    if (setBufferInfo(mPlan.poolSize, mSurroundings.width, mSurroundings.height, color,
                      mPlan.waitList) != android::OK) {
        return notifyError(android::UNKNOWN_ERROR);
    }
    APipe::onInit(msg);
}

void NeighbourStage::onRelease() {
    mWork = {};
    APipe::onRelease();
}

void NeighbourStage::onWork() {
    if (mPlan.engineUs == 0) return workOnFirst();
    if (mWork.item == nullptr && !mWorkItems.empty()) startWork();
    APipe::onWork();
}

void NeighbourStage::startWork() {
    mWork.item = *mWorkItems.begin();
    mWork.poolInput = ifOfPool(mWork.item->mInput);
    mWork.poolOutput = ifOfPool(mWork.item->mOutput);
    if (mWork.poolInput != nullptr) {
        mWork.poolInput->getMeta()->findInt64("timeUs", &mWork.timeUs);
        checkPicture(mWork.poolInput, mWork.timeUs);
    }
    (new AMessage(kWhatWorked, this))->post(mPlan.engineUs);
}

void NeighbourStage::finishWork() {
    const Work work = std::exchange(mWork, {});
    if (work.item == nullptr) return;
    int32_t eos = 0;
    if (work.poolInput != nullptr) work.poolInput->getMeta()->findInt32("eos", &eos);
    const int64_t frame = work.timeUs / Client::kFrameUs;
    if (work.poolInput != nullptr && eos == 0 && !mSurroundings.isRight(work.poolInput, frame))
        mWitness->complain("R-TEAR", "a frame was written while the stage behind read it");
    if (work.poolInput != nullptr && work.poolOutput != nullptr)
        copyPicture(work.poolInput, work.poolOutput);
    if (!mWorkItems.empty() && *mWorkItems.begin() == work.item) workOnFirst();
    if (!mWorkItems.empty()) onWork();
}

void NeighbourStage::workOnFirst() {
    workOnFirstItem([this](const APipeItem& item) { return fill(item); });
}

status_t NeighbourStage::fill(const APipeItem& item) {
    if (mFailsNext.exchange(false)) return android::UNKNOWN_ERROR;
    int64_t timeUs = 0;
    item.mInput->getMeta()->findInt64("timeUs", &timeUs);
    checkPicture(item.mInput, timeUs);
    checkParts(item, timeUs);
    copyPicture(item.mInput, item.mOutput);
    if (ifOfPool(item.mInput) == nullptr) return android::OK;
    mWitness->watch(item.mInput);
    paintOver(item.mInput);
    return android::OK;
}

void NeighbourStage::checkPicture(const sp<APipeBuffer>& input, int64_t timeUs) {
    int32_t eos = 0;
    input->getMeta()->findInt32("eos", &eos);
    if (eos != 0 || mSurroundings.isRight(input, timeUs / Client::kFrameUs)) return;
    mWitness->complain("R-PIXELS", "the frame of " + std::to_string(timeUs) +
                                       " us went on from stage to stage with other pixels");
}

void NeighbourStage::checkParts(const APipeItem& item, int64_t timeUs) {
    if (mPlan.generator != Generator::Portrait) return;
    int64_t subTimeUs = timeUs;
    if (item.mSubInput != nullptr) item.mSubInput->getMeta()->findInt64("timeUs", &subTimeUs);
    if (subTimeUs != timeUs) mWitness->complain("R-PIXELS", "a frame got another's sub input");
    if (frameOfMeta(item.mInput->getMeta()) != timeUs / Client::kFrameUs)
        mWitness->complain("R-PIXELS", "a frame got another's metadata");
}

}  // namespace plexa::kit
