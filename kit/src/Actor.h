// Actor: the chain of a story, and what its client's threads do to it.
#pragma once

#include <kit/Client.h>
#include <kit/ClientHandler.h>
#include <kit/Witness.h>
#include "Story.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "NeighbourStage.h"
#include "Setting.h"

namespace plexa::kit {

// One in so many of what an op's argument draws.
inline bool oneIn(uint32_t n, uint32_t arg) {
    return (arg >> 8U) % n == 0;
}

// Threading: act() may be called on several threads; init, flush and release go one after another.
// The rest belongs to the thread that makes it.
class Actor {
public:
    // With one client the frames have to come in the order of their queueing, where generators keep
    // it. `rest` waits for the completion notice of a flush; not within a message.
    Actor(const Setting& setting, const Story& story, const std::shared_ptr<Witness>& witness,
          bool oneClient, std::function<void(Actor&)> rest);
    ~Actor();

    void setPaused(size_t stage, bool paused);
    // Every act but Act::Run.
    void act(const Op& op);

    void init();
    // Calls it; its notice is expected if the chain's loop takes the message.
    void flush();
    void release();
    // Clears what stories arm, so that a fresh frame has to come through.
    void calm();
    // Queues the parts of one frame, wherever the chain wants them.
    void queueWholeFrame();
    void queueOutput(uint32_t arg);
    // Drops the references to the stages, the first one first or last.
    void dropStages(bool firstFirst);

    // The chain runs, and no act so far may leave a frame or a pool's buffer on the way for good.
    bool mustFlow() const;
    // Whether every buffer of each stage's pool is free. For a chain at rest.
    bool poolsAreWhole() const;
    // Complains if a stage's counts do not add up, or it says that it keeps what it cannot.
    void checkLedgers() const;
    // For a chain at rest: complains if the last stage sent on what the client did not hear of.
    void checkLedgerOfFrames() const;
    const android::sp<android::APipe>& first() const { return mStages.front(); }
    // As the system has them.
    std::vector<std::string> threadNames() const;
    Client& client() { return *mClient; }

    // What the client does when a stage calls it back, on any thread.
    void onCallback();

private:
    enum class Loop { None, Running, Releasing };

    static android::sp<android::APipeItem> itemOf(const android::sp<android::APipeBuffer>& input,
                                                  const android::sp<android::APipeBuffer>& output);
    void makeChain(const Story& story);
    android::status_t queue(size_t stage, const android::sp<android::APipeItem>& item);
    void settle(const Client::Claim& claim, android::status_t status, const std::string& how = "");
    void queueInput(uint32_t arg);
    void queueSubInput(size_t stage, int64_t frame);
    void queueMetadata(size_t stage, int64_t frame);
    void queueMalformed(uint32_t arg);
    void queueWithoutId(bool asOutput);
    void queueWithoutPixels();
    void queueBoth();
    void queueUntimed();
    void setRanges();
    void setParameter(size_t stage, uint32_t arg);
    void failEngine(size_t stage);
    void failSystem(uint32_t arg);
    bool mayQueueInto(size_t stage, uint32_t arg);
    // The stage that pairs parts that `arg` draws, and the frame whose part it is to get next.
    bool drawPart(std::vector<std::atomic<int64_t>>& next, uint32_t arg, size_t* stage,
                  int64_t* frame);
    bool asPairs() const;
    std::string nameOf(size_t stage) const;
    void tell(const std::string& deed) { mWitness->tell(deed); }

    const Setting& mSetting;
    const Story& mStory;
    const std::shared_ptr<Witness> mWitness;
    const std::shared_ptr<Client> mClient;
    std::atomic<bool> mHeardError = false;
    const std::function<void(Actor&)> mRest;
    const android::sp<ClientHandler> mHandler;
    std::vector<android::sp<android::APipe>> mStages;
    std::vector<android::sp<NeighbourStage>> mNeighbours;  // null where a given stage is
    std::mutex mControl;
    uint64_t mFramesAtInit = 0;
    Loop mLoop = Loop::None;  // guarded by mControl
    std::vector<std::atomic<int64_t>> mNextSubInput, mNextMetadata;
    std::atomic<bool> mSteady = true;
};

}  // namespace plexa::kit
