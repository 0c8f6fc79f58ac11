// CalmChain: stages by themselves, fed frame by frame, each after the one before has come through.
#pragma once

#include <kit/ClientHandler.h>
#include <kit/Formats.h>
#include <kit/Scheduler.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "StageAccess.h"

namespace plexa::kit {

class Ear;

// Threading: bound to its thread, as its scheduler.
class CalmChain {
public:
    CalmChain(const std::vector<StageSpec>& stages, const FrameFormat& takes);
    ~CalmChain();

    // False if an init does not come to its notice.
    bool start();
    // What the last stage makes of the frame; nothing if no frame comes.
    struct Arrival {
        FrameFormat format;
        uint64_t digest = 0;
    };
    std::optional<Arrival> pass(int64_t frame);
    // Whether a stage told of an error so far.
    bool hasFailed() const { return mClient->count(android::APipe::kWhatError) != 0; }
    // The colour format that the stages told at their init.
    int32_t told() const;
    std::vector<int> countPools() const;

private:
    const FrameFormat mTakes;
    const FramePainter mPainter;
    Scheduler mScheduler;
    const android::sp<ClientHandler> mClient = ClientHandler::create();
    android::sp<Ear> mEar;
    std::vector<android::sp<android::APipe>> mStages;
    std::optional<LivingChain> mLiving;
};

}  // namespace plexa::kit
