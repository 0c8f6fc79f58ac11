// ChainActor: a random chain and what its client's threads do to it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "ChainClient.h"
#include "ChainPlan.h"
#include "ChainStage.h"
#include "ChainWitness.h"
#include "support/ClientHandler.h"

namespace plexa {

// Threading: act() may be called on several threads; init, flush and release go one after another.
// The rest belongs to the test's thread.
class ChainActor {
public:
    // With one client the frames have to come in the order of their queueing, where generators keep
    // it.
    ChainActor(const ChainPlan& plan, const std::shared_ptr<ChainWitness>& witness, bool oneClient);
    ~ChainActor();

    // Every act but Act::Run.
    void act(const Op& op);

    void init();
    // Calls it; its notice is expected if the chain's loop takes the message.
    void flush();
    void release();
    // Clears what plans arm, so that a fresh frame has to come through.
    void calm();
    // Queues the parts of one frame, wherever the chain wants them.
    void queueWholeFrame();
    void queueOutput(uint32_t arg);
    // Drops the references to the stages, the first one first or last.
    void dropStages(bool firstFirst);

    // The chain runs, and no act so far may leave a frame or a pool's buffer on the way for good.
    bool mustFlow() const;
    ChainClient& client() { return *mClient; }
    const std::vector<android::sp<ModelStage>>& stages() const { return mStages; }

private:
    enum class Loop { None, Running, Releasing };

    android::status_t queue(size_t stage, const android::sp<android::APipeItem>& item);
    void queueInput(uint32_t arg);
    void queueSubInput(size_t stage, int64_t frame);
    void queueMetadata(size_t stage, int64_t frame);
    void queueMalformed(uint32_t arg);
    void queueWithoutId(bool asOutput);
    void queueBoth();
    void queueUntimed();
    void setRanges();
    void setParameter(uint32_t arg);
    void failSystem(uint32_t arg);
    bool mayQueueInto(size_t stage, uint32_t arg);
    // The portrait stage that `arg` draws, and the frame whose part it is to get next.
    bool drawPart(std::vector<std::atomic<int64_t>>& next, uint32_t arg, size_t* stage,
                  int64_t* frame);
    bool isPortrait(size_t stage) const;

    const ChainPlan& mPlan;
    const std::shared_ptr<ChainWitness> mWitness;
    const std::shared_ptr<ChainClient> mClient;
    std::atomic<bool> mHeardError = false;
    const android::sp<ClientHandler> mHandler;
    std::vector<android::sp<ModelStage>> mStages;
    std::mutex mControl;
    Loop mLoop = Loop::None;  // guarded by mControl
    std::vector<std::atomic<int64_t>> mNextSubInput, mNextMetadata;
    std::atomic<bool> mSteady = true;
};

}  // namespace plexa
