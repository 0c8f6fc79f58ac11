// A chain with the portrait stage in its middle, whose lists and pools a test can look into.
#pragma once

#include <PortraitStage.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "support/TestStage.h"

namespace plexa {

using Ids = std::multiset<int32_t>;

// A generator whose lists are open.
template <typename Generator>
struct Open : public Generator {
    using Generator::Generator;
    using Generator::mCompletedItems;
    using Generator::mInputBuffers;
    using Generator::mOutputBuffers;
};

struct OpenPortraitGenerator : public Open<android::APipePortraitItemGenerator> {
    using APipePortraitItemGenerator::mSubInputBuffers;
};

// A stage that passes frames on as they are, from a pool of its own if it is not the last.
// Threading: as APipe.
class PassStage : public android::APipe {
public:
    static constexpr int kPoolSize = 4;

    PassStage(const android::sp<android::APipe>& next, const android::sp<android::AMessage>& notify,
              const std::string& name)
        : APipe(next, notify, name), mPairs(new Open<android::APipeItemGenerator>(name)) {
        setItemGenerator(mPairs);
    }

    using android::APipe::mBufferPool;
    const android::sp<Open<android::APipeItemGenerator>> mPairs;

protected:
    void onInit(const android::sp<android::AMessage>& msg) override {
        if (setBufferInfo(kPoolSize, kFrameWidth, kFrameHeight, android::APipeBuffer::Yuv420p,
                          false) != android::OK) {
            return notifyError(android::UNKNOWN_ERROR);
        }
        APipe::onInit(msg);
    }
    void onWork() override {
        workOnFirstItem([](const android::APipeItem&) { return android::OK; });
    }
};

// The blur radius by which a frame's metadata is told from that of its neighbours.
inline int32_t radiusAt(int64_t timeUs) {
    return static_cast<int32_t>(timeUs % 5);
}

// The portrait stage, which also counts the items whose parts are not of one frame.
// Threading: as APipe.
class CheckedPortraitStage : public android::PortraitStage {
public:
    CheckedPortraitStage(const android::sp<android::APipe>& next,
                         const android::sp<android::AMessage>& notify)
        : PortraitStage(next, notify) {
        setItemGenerator(mParts);
    }

    using android::APipe::mBufferPool;
    const android::sp<OpenPortraitGenerator> mParts = new OpenPortraitGenerator;
    std::atomic<int> mMismatched = 0;

protected:
    void onWork() override {
        if (!mWorkItems.empty() && !isOfOneFrame(**mWorkItems.begin())) ++mMismatched;
        PortraitStage::onWork();
    }

private:
    static bool isOfOneFrame(const android::APipeItem& item) {
        int64_t timeUs = -1, maskTimeUs = -2;
        android::sp<android::ABuffer> blob;
        item.mInput->getMeta()->findInt64("timeUs", &timeUs);
        item.mInput->getMeta()->findBuffer("frameMeta", &blob);
        item.mSubInput->getMeta()->findInt64("timeUs", &maskTimeUs);
        int32_t radius = -1;
        memcpy(&radius, blob->data(), sizeof(radius));
        return timeUs == maskTimeUs && radius == radiusAt(timeUs);
    }
};

// Adds what `key` says of each buffer that has it.
inline void collect(const android::sp<android::APipeBuffer>& buffer, const char* key, Ids* ids) {
    int32_t id;
    if (buffer != nullptr && buffer->getMeta()->findInt32(key, &id)) ids->insert(id);
}

template <typename Buffers>
void collectAll(const Buffers& buffers, const char* key, Ids* ids) {
    for (const auto& buffer : buffers)
        collect(buffer, key, ids);
}

// The ids of what is free in a pool, which has it again afterwards.
inline Ids freeIn(android::APipeBufferPool& pool) {
    Ids ids;
    std::vector<android::sp<android::APipeBuffer>> taken;
    while (const android::sp<android::APipeBuffer> buffer = pool.acquireBuffer(false)) {
        buffer->getMeta()->setMessage("reply", new android::AMessage);
        collect(buffer, "id", &ids);
        taken.push_back(buffer);
    }
    for (const auto& buffer : taken)
        pool.returnBuffer(buffer);
    return ids;
}

// Pass stage, portrait stage, pass stage. The ids are to be asked for while no message is due.
// Threading: reentrant.
struct ConservationChain {
    explicit ConservationChain(const android::sp<android::AMessage>& notify)
        : last(new PassStage(nullptr, notify, "last")),
          portrait(new CheckedPortraitStage(last, notify)),
          first(new PassStage(portrait, notify, "first")) {}

    // Where each pool buffer is: free, or waiting in one of the two generators that can have it.
    Ids firstPool() const {
        Ids ids = freeIn(*first->mBufferPool);
        collectAll(first->mPairs->mOutputBuffers, "id", &ids);
        collectAll(portrait->mParts->mInputBuffers, "id", &ids);
        for (const auto& item : portrait->mParts->mCompletedItems)
            collect(item->mInput, "id", &ids);
        return ids;
    }
    Ids portraitPool() const {
        Ids ids = freeIn(*portrait->mBufferPool);
        collectAll(portrait->mParts->mOutputBuffers, "id", &ids);
        collectAll(last->mPairs->mInputBuffers, "id", &ids);
        for (const auto& item : portrait->mParts->mCompletedItems)
            collect(item->mOutput, "id", &ids);
        return ids;
    }
    // The client's buffers that wait somewhere in the chain.
    Ids clientBuffers() const {
        Ids ids;
        collectAll(first->mPairs->mInputBuffers, "bufferId", &ids);
        collectAll(portrait->mParts->mSubInputBuffers, "bufferId", &ids);
        collectAll(last->mPairs->mOutputBuffers, "bufferId", &ids);
        for (const auto& item : portrait->mParts->mCompletedItems)
            collect(item->mSubInput, "bufferId", &ids);
        return ids;
    }

    const android::sp<PassStage> last;
    const android::sp<CheckedPortraitStage> portrait;
    const android::sp<PassStage> first;
};

}  // namespace plexa
