// TestStage: a stage whose work and hooks a test decides; what to queue into it is the kit's.
#pragma once

#include <APipe.h>
#include <kit/Frames.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace plexa {

using namespace kit;

// Of the kit's frames, unless told otherwise.
inline constexpr int kFrameWidth = 16;
inline constexpr int kFrameHeight = 8;

struct TestGenerator : public android::APipeItemGenerator {
    using APipeItemGenerator::APipeItemGenerator;
    using APipeItemGenerator::mOutputBuffers;
};

// Its engine, pool and hooks are set before init; what is protected in a stage is open here.
// Threading: as APipe.
class TestStage : public android::APipe {
public:
    using android::APipe::APipe;
    using android::APipe::kStateCreated;
    using android::APipe::kStateError;
    using android::APipe::kStateInitialized;
    using android::APipe::kWhatBufferReturned;
    using android::APipe::mBufferPool;
    using android::APipe::mItemGenerator;
    using android::APipe::mOutputItems;
    using android::APipe::mRangeInfos;
    using android::APipe::mState;
    using android::APipe::mWorkItems;
    using android::APipe::notifyError;
    using android::APipe::notifyExtraData;
    using android::APipe::notifyInputBufferDone;
    using android::APipe::notifyOutputBufferDone;
    using android::APipe::onMessageReceived;
    using android::APipe::setBufferInfo;
    using android::APipe::setReply;

    TestStage(const android::sp<android::APipe>& next, const android::sp<android::AMessage>& notify,
              const std::string& name, int poolSize)
        : APipe(next, notify, name), mPoolSize(poolSize) {
        setItemGenerator(mTestGenerator);
    }

    // How many buffers of its pool it could fill now: those that wait for an input in the
    // generator, and those that are free, which are taken and given back.
    size_t freeBuffers() {
        std::vector<android::sp<android::APipeBuffer>> taken;
        while (const auto buffer = mBufferPool->acquireBuffer(false)) {
            setReply(buffer);
            taken.push_back(buffer);
        }
        for (const auto& buffer : taken)
            mBufferPool->returnBuffer(buffer);
        return mTestGenerator->mOutputBuffers.size() + taken.size();
    }

    void onWork() override {
        ++mWorkCount;
        workOnFirstItem(mEngine);
    }

    Engine mEngine = [](const auto&) { return android::OK; };
    std::function<void()> mOnDestroyed;
    std::vector<std::string> mParameters;
    android::APipeBuffer::ColorFormat mPoolFormat = android::APipeBuffer::Nv12;
    std::atomic<int> mWorkCount = 0;

protected:
    ~TestStage() override {
        if (mOnDestroyed) mOnDestroyed();
    }

    void onInit(const android::sp<android::AMessage>& msg) override {
        if (setBufferInfo(mPoolSize, kFrameWidth, kFrameHeight, mPoolFormat, false) !=
            android::OK) {
            return notifyError(android::UNKNOWN_ERROR);
        }
        APipe::onInit(msg);
    }
    void onSetParameter(int key, int value) override {
        mParameters.push_back(std::to_string(key) + "=" + std::to_string(value));
    }
    void onSetParameter(int key, const std::string& value) override {
        mParameters.push_back(std::to_string(key) + "=" + value);
    }
    void onSetParameter(int key, const android::sp<android::AMessage>& value) override {
        mParameters.push_back(std::to_string(key) + "=" + std::to_string(value->what()));
    }

private:
    const int mPoolSize;
    const android::sp<TestGenerator> mTestGenerator = new TestGenerator(mName);
};

}  // namespace plexa
