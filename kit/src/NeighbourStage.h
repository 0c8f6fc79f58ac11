// NeighbourStage: a stage of a random chain that passes frames on and looks at each of them.
#pragma once

#include <APipe.h>
#include <kit/Witness.h>
#include "Story.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace plexa::kit {

// Checks that an input shows the frame of its time, copies its picture to the output, and then
// paints the input over if it is a pool's, so that no old picture looks like work done. With
// StagePlan::engineUs it starts on the first item, answers by a message, and holds the pool buffers
// of the item until then, also when a flush forgets the item meanwhile.
// Threading: as APipe.
class NeighbourStage : public android::APipe {
public:
    struct Surroundings {
        // What setBufferInfo is asked for.
        int32_t poolColor = 0, width = 0, height = 0;
        // Whether an input shows the frame of that number, as it is where the stage stands.
        std::function<bool(const android::sp<android::APipeBuffer>& input, int64_t frame)> isRight;
    };

    NeighbourStage(const android::sp<android::APipe>& next,
                   const android::sp<android::AMessage>& notify, const StagePlan& plan,
                   const Surroundings& surroundings, std::shared_ptr<Witness> witness);

    void failNextFrame() { mFailsNext = true; }
    void letNextFramePass() { mFailsNext = false; }

    // Of the whole pool; 0 for a last stage, which has none.
    int poolSize() const;

    static constexpr const char* kName = "Neighbour";

protected:
    ~NeighbourStage() override;

    void onMessageReceived(const android::sp<android::AMessage>& msg) override;
    void onInit(const android::sp<android::AMessage>& msg) override;
    void onWork() override;
    void onRelease() override;

private:
    // The buffers that the engine is at work on.
    struct Work {
        android::sp<android::APipeItem> item;
        android::sp<android::APipeBuffer> poolInput;
        android::sp<android::APipeBuffer> poolOutput;
        int64_t timeUs = 0;
    };

    void startWork();
    void finishWork();
    void workOnFirst();
    android::status_t fill(const android::APipeItem& item);
    void checkPicture(const android::sp<android::APipeBuffer>& input, int64_t timeUs);
    void checkParts(const android::APipeItem& item, int64_t timeUs);

    const StagePlan mPlan;
    const Surroundings mSurroundings;
    const std::shared_ptr<Witness> mWitness;
    std::atomic<bool> mFailsNext = false;
    Work mWork;
};

}  // namespace plexa::kit
