// The way of the frames through a stage: arrival, pairing and work.
#define LOG_TAG "APipe"

#include <media/stagefright/foundation/ADebug.h>
#include <utils/Log.h>
#include <utils/Trace.h>

#include <utility>

#include "APipe.h"
#include "APipeLedger.h"
#include "APipeLoop.h"
#include "APipeLoopChecker.h"
#include "APipePlace.h"
#include "APipeStatusName.h"
#include "APipeTrace.h"

namespace android {

namespace {

struct PoolMemory {
    APipeBuffer::ColorFormat colorFormat;
    APipeBuffer::MemoryType memoryType;
};

PoolMemory poolMemoryFor(APipeBuffer::ColorFormat requested) {
    switch (requested) {
        case APipeBuffer::Nv12Venus:
            return {APipeBuffer::Nv12, APipeBuffer::LocalMemory};
        case APipeBuffer::Nv12Ubwc:
            return {APipeBuffer::Nv12Venus, APipeBuffer::GraphicMemory};
        case APipeBuffer::Tp10Ubwc:
            return {APipeBuffer::P010, APipeBuffer::GraphicMemory};
        case APipeBuffer::Rgba8888:
            return {APipeBuffer::Rgba8888, APipeBuffer::GraphicMemory};
        case APipeBuffer::P010Venus:
            return {APipeBuffer::P010, APipeBuffer::LocalMemory};
        default:
            return {requested, APipeBuffer::LocalMemory};
    }
}

// What the frame in output is, as its input had it.
void copyFrameRecord(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output, int32_t eos) {
    const sp<AMessage> from = input->getMeta();
    const sp<AMessage> to = output->getMeta();
    int64_t timeUs;
    if (from->findInt64("timeUs", &timeUs)) to->setInt64("timeUs", timeUs);
    to->setInt32("eos", eos);
    int32_t operation;
    if (from->findInt32("operation", &operation)) to->setInt32("operation", operation);
}

int32_t eosOf(const sp<APipeBuffer>& input) {
    int32_t eos = 0;
    if (input != nullptr) input->getMeta()->findInt32("eos", &eos);
    return eos;
}

}  // namespace

// --- Arrival ---

void APipe::announce(const APipeItem& item) {
    for (const sp<APipeBuffer>* buffer : {&item.mInput, &item.mSubInput, &item.mOutput}) {
        if (*buffer == nullptr || mLedger->announce(*buffer)) continue;
        ALOGE_IF(APipeLoopChecker::kIsOn,
                 "[%s] queueItem of a buffer that is in the stage already, with frame %lld",
                 mName.c_str(), static_cast<long long>(APipePlace::frameOf(*buffer)));
    }
    if (!ATRACE_ENABLED() || item.mInput == nullptr || !APipePlace::isClients(*item.mInput)) return;
    int64_t timeUs = -1;
    item.mInput->getMeta()->findInt64("timeUs", &timeUs);
    APipeTrace::beginFrame(timeUs);
}

void APipe::onQueueItem(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object;
    CHECK(msg->findObject("item", &object));
    sp<APipeItem> item(static_cast<APipeItem*>(object.get()));
    const bool isStale = mLoop->isStale(msg);
    mLedger->arrive(*item, isStale);
    if (isStale) return dropStale(*item);
    if (item->mInput != nullptr) mTrace->beginWait(APipePlace::frameOf(item->mInput));
    if (mItemGenerator == nullptr) return workOn(std::move(item));
    offerOutputBuffer();
    mItemGenerator->pushItem(item);
    workOnCompletedItem();
}

void APipe::dropStale(const APipeItem& item) {
    if (item.mInput == nullptr) return;
    mTrace->drop(APipePlace::frameOf(item.mInput), "stale");
    if (!APipePlace::isClients(*item.mInput)) item.mInput->release();
}

void APipe::onQueueItemMeta(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mLoop->isStale(msg) || mItemGenerator == nullptr) return;
    mItemGenerator->pushItemMeta(msg);
    sendDroppedHome();
}

bool APipe::onBufferReturned(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object;
    msg->findObject("buffer", &object);
    // A reply that kept its buffer would hold it from inside the buffer's own metadata.
    msg->setObject("buffer", nullptr);
    if (mLoop->isStale(msg)) {
        ALOGI("[%s] onBufferReturned generation is not matched", mName.c_str());
        return false;
    }
    if (object == nullptr || mBufferPool == nullptr) {
        ALOGE("[%s] onBufferReturned without a buffer or a pool", mName.c_str());
        return false;
    }
    mBufferPool->returnBuffer(sp<APipeBuffer>(static_cast<APipeBuffer*>(object.get())));
    if (!isNeededSkipOnWork() && mItemGenerator != nullptr) {
        offerOutputBuffer();
        workOnCompletedItem();
    }
    return true;
}

// --- Pairing ---

status_t APipe::setBufferInfo(int bufferCount, int width, int height,
                              APipeBuffer::ColorFormat colorFormat, bool useWaitBufferPool) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mNextPipe == nullptr) return OK;
    const PoolMemory memory = poolMemoryFor(colorFormat);
    mBufferPool = new APipeBufferPool;
    mBufferPool->mLoopChecker = mLoopChecker;
    const status_t err = mBufferPool->init(bufferCount, width, height, memory.colorFormat,
                                           memory.memoryType, useWaitBufferPool);
    return err == OK ? OK : UNKNOWN_ERROR;
}

void APipe::setReply(const sp<APipeBuffer>& buffer) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    mLedger->takeOutput(buffer);
    const int32_t generation = getBufferGeneration();
    APipeBuffer::Reply& last = buffer->mReply;
    if (last.loop != mLoop || last.generation != generation) {
        last = {mLoop->newMessage(kWhatBufferReturned), mLoop, generation};
        last.message->setInt32("generation", generation);
    }
    buffer->getMeta()->setMessage("reply", last.message);
}

void APipe::offerOutputBuffer() {
    if (mNextPipe == nullptr || mBufferPool == nullptr) return;
    const sp<APipeBuffer> buffer = mBufferPool->acquireBuffer(false);
    if (buffer == nullptr) return;
    setReply(buffer);
    mItemGenerator->pushOutputBuffer(buffer);
}

void APipe::workOnCompletedItem() {
    sp<APipeItem> item = mItemGenerator->getCompletedItem();
    sendDroppedHome();
    if (item != nullptr) workOn(std::move(item));
}

// --- Work ---

void APipe::workOn(sp<APipeItem> item) {
    mLedger->toWork(*item);
    mTrace->endWait(APipePlace::frameOf(item->mInput));
    mWorkItems.push_back(std::move(item));
    const int64_t timeUs = APipePlace::frameOf((*mWorkItems.begin())->mInput);
    const bool isEnd = ATRACE_ENABLED() && eosOf((*mWorkItems.begin())->mInput) != 0;
    const std::string slice = isEnd ? mTrace->endName() : mTrace->workName(timeUs);
    ATRACE_NAME(slice.c_str());
    describeWork();
    mLedger->enterWork(timeUs);
    onWork();
    mLedger->readClock();
}

void APipe::workOnFirstItem(const Engine& engine) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mWorkItems.empty()) return APipe::onWork();
    if (!isWorkable(*mWorkItems.begin())) {
        giveBack(*takeFirstWorkItem(), kSentHome);
        return notifyError(UNKNOWN_ERROR);
    }
    const int32_t eos = eosOf((*mWorkItems.begin())->mInput);
    if (eos == 0 && runEngine(engine, *mWorkItems.begin()) != OK) return notifyError(UNKNOWN_ERROR);
    const sp<APipeItem> item = takeFirstWorkItem();
    copyFrameRecord(item->mInput, item->mOutput, eos);
    notifyInputBufferDone(item->mInput);
    if (item->mSubInput != nullptr) notifyInputBufferDone(item->mSubInput);
    notifyOutputBufferDone(item->mOutput, kBufferWithFrame);
    APipe::onWork();
}

sp<APipeItem> APipe::takeFirstWorkItem() {
    sp<APipeItem> item = std::move(*mWorkItems.begin());
    mWorkItems.erase(mWorkItems.begin());
    return item;
}

bool APipe::isWorkable(const sp<APipeItem>& item) const {
    const char* missing = nullptr;
    if (item->mInput == nullptr) {
        missing = "an input";
    } else if (item->mOutput == nullptr) {
        missing = "an output";
    } else if (int64_t timeUs; !item->mInput->getMeta()->findInt64("timeUs", &timeUs)) {
        missing = "the input's \"timeUs\"";
    }
    ALOGE_IF(missing != nullptr, "[%s] onWork item without %s", mName.c_str(), missing);
    return missing == nullptr;
}

status_t APipe::runEngine(const Engine& engine, const sp<APipeItem>& item) {
    mLedger->retry(*item);
    const status_t err = engine(*item);
    if (err == OK) return OK;
    const int64_t timeUs = APipePlace::frameOf(item->mInput);
    ALOGE("[%s] the work on frame %lld failed: %s", mName.c_str(), static_cast<long long>(timeUs),
          statusName(err).c_str());
    mLedger->noteFailure(err, timeUs);
    mLedger->fail(*item);
    return err;
}

void APipe::onWork() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mNextPipe == nullptr || mOutputItems.empty()) return;
    const sp<APipeItem> item = std::move(*mOutputItems.begin());
    mOutputItems.erase(mOutputItems.begin());
    const sp<APipeBuffer>& buffer = item->mInput;
    const bool wasHere = mLedger->leave(buffer, kSentOn);
    const status_t err = mNextPipe->queueItem(item);
    if (err == OK) return;
    ALOGW("[%s] the next stage refused an output (err %d)", mName.c_str(), err);
    if (wasHere) mLedger->takeBack(buffer);
    mTrace->drop(APipePlace::frameOf(buffer), "refused by the next stage");
    notifyOutputBufferDone(buffer, kBufferWithoutFrame);
}

}  // namespace android
