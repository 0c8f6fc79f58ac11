// Stages by themselves, and a stage behind them that listens.
#include "CalmChain.h"

#include <kit/Client.h>

#include "Setting.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeItem;
using android::sp;

// Takes what comes, and sends it home. Threading: as APipe.
class Ear : public APipe {
public:
    explicit Ear(const sp<AMessage>& notify) : APipe(nullptr, notify, "Ear") {}

    std::optional<CalmChain::Arrival> mArrival;
    int32_t mTold = 0;

protected:
    void onInit(const sp<AMessage>& msg) override {
        sp<AMessage> src;
        if (msg->findMessage("src", &src) && src != nullptr) src->findInt32("colorformat", &mTold);
        APipe::onInit(msg);
    }
    void onWork() override {
        while (!mWorkItems.empty()) {
            const sp<APipeBuffer> frame = (*mWorkItems.begin())->mInput;
            mWorkItems.erase(mWorkItems.begin());
            if (frame == nullptr) continue;
            mArrival = {{frame->getColorFormat(), frame->getMemoryType(), frame->getWidth(),
                         frame->getHeight()},
                        digestOf(frame)};
            notifyInputBufferDone(frame);
        }
    }
};

CalmChain::CalmChain(const std::vector<StageSpec>& stages, const FrameFormat& takes)
    : mTakes(takes),
      mPainter(takes),
      mScheduler(1, Scheduler::Order::Even),
      mEar(new Ear(mClient->notify())) {
    sp<APipe> next = mEar;
    for (auto stage = stages.rbegin(); stage != stages.rend(); ++stage) {
        next = newStage(*stage, next, mClient->notify());
        mStages.insert(mStages.begin(), next);
    }
    mLiving.emplace(next);
}

CalmChain::~CalmChain() {
    mLiving.reset();
    mStages.front()->release();
    [[maybe_unused]] const bool rests = mScheduler.runToRest();
    mClient->stop();
}

bool CalmChain::start() {
    FrameFormat dst = mTakes;
    dst.color = plainOf(dst.color);
    const bool rests = mStages.front()->init(formatOf(mTakes), formatOf(dst)) == android::OK &&
                       mScheduler.runToRest();
    return rests && mClient->count(APipe::kWhatInitCompleted) == 1;
}

std::optional<CalmChain::Arrival> CalmChain::pass(int64_t frame) {
    const sp<APipeItem> item =
        inputItem(static_cast<int32_t>(frame), frame * Client::kFrameUs, mTakes);
    if (!mPainter.paint(item->mInput, frame)) return std::nullopt;
    for (const sp<APipe>& stage : mStages) {
        if (!needsParts(stage)) continue;
        stage->queueItemMeta(metaOfFrame(frame));
        const sp<APipeItem> part = new APipeItem;
        part->mSubInput =
            inputItem(static_cast<int32_t>(frame), frame * Client::kFrameUs, mTakes)->mInput;
        mPainter.paint(part->mSubInput, frame);
        stage->queueItem(part);
    }
    mEar->mArrival.reset();
    mStages.front()->queueItem(item);
    return mScheduler.runToRest() ? mEar->mArrival : std::nullopt;
}

int32_t CalmChain::told() const {
    return mEar->mTold;
}

std::vector<int> CalmChain::countPools() const {
    std::vector<int> counts;
    for (const sp<APipe>& stage : mStages)
        counts.push_back(StageAccess::countPoolBuffers(stage));
    return counts;
}

}  // namespace plexa::kit
