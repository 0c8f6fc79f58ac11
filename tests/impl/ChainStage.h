// ModelStage: a stage of a random chain, whose engine looks at every pixel that it is given.
#pragma once

#include <APipe.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "ChainPlan.h"
#include "ChainWitness.h"

namespace plexa {

// Checks that an input holds the stamp of its time and depth, and fills the output with that of the
// next depth. With StagePlan::engineUs it starts on the first item, answers by a message, and holds
// the pool buffers of the item until then, also when a flush forgets the item meanwhile.
// Threading: as APipe.
class ModelStage : public android::APipe {
public:
    ModelStage(const android::sp<android::APipe>& next,
               const android::sp<android::AMessage>& notify, const StagePlan& plan, int depth,
               std::shared_ptr<ChainWitness> witness);

    void failNextFrame() { mFailsNext = true; }
    void letNextFramePass() { mFailsNext = false; }
    void setPaused(bool paused);

    // How many different buffers of the pool are free or wait in the generator; -1 for one that is
    // counted twice. For a stage at rest.
    int countPoolBuffers();
    int poolSize() const;

protected:
    ~ModelStage() override;

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
    template <typename G>
    void makeGenerator();

    const StagePlan mPlan;
    const int mDepth;
    const std::shared_ptr<ChainWitness> mWitness;
    std::function<android::List<android::sp<android::APipeBuffer>>()> mWaitingOutputs;
    std::atomic<bool> mFailsNext = false;
    Work mWork;
};

}  // namespace plexa
