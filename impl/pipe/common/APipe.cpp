// One asynchronous stage of a chain: its loop, the flow of items, and the talk with its client.
#define LOG_TAG "APipe"
#define ATRACE_TAG ATRACE_TAG_VIDEO

#include "APipe.h"

#include <media/stagefright/foundation/ADebug.h>
#include <utils/Log.h>
#include <utils/Trace.h>

#include <utility>

#include "APipeLoopChecker.h"

namespace android {

namespace {

// Tells the stage's own messages by an object that only the stage has. What else is in them is then
// of the class that the stage has put there; no object can be asked for its class on a device.
constexpr const char* kSender = "sender";

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

bool isClientBuffer(const sp<APipeBuffer>& buffer) {
    return buffer->getMeta()->contains("bufferId");
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

}  // namespace

APipe::APipe(const sp<APipe>& next, const sp<AMessage>& notify, const std::string& name)
    : mLoopLock(new APipeLoopLock(this)),
      mLoopChecker(APipeLoopChecker::create(name)),
      mNotify(notify),
      mNextPipe(next),
      mName(name) {}

APipe::~APipe() {
    APipeLoopChecker::leave(mLoopChecker);
    const sp<ALooper> looper = detachLooper();
    if (looper != nullptr) looper->stop();
}

// --- Called by clients ---

void APipe::setItemGenerator(const sp<APipeItemGenerator>& generator) {
    if (generator != nullptr) generator->mLoopChecker = mLoopChecker;
    mItemGenerator = generator;
}

status_t APipe::init(const sp<AMessage>& src, const sp<AMessage>& dst) {
    const status_t err = startLooper();
    if (err != OK) return err;
    const sp<AMessage> msg = newMessage(kWhatInit);
    msg->setMessage("src", src);
    msg->setMessage("dst", dst);
    return post(msg, "init");
}

status_t APipe::queueItem(const sp<APipeItem>& item) {
    if (item == nullptr) {
        ALOGE("[%s] queueItem without an item", mName.c_str());
        return BAD_VALUE;
    }
    const sp<AMessage> msg = newIntake(kWhatQueueItem);
    if (msg == nullptr) return UNKNOWN_ERROR;
    ATRACE_INSTANT_FOR_TRACK(mName.c_str(), "queued");
    msg->setObject("item", item);
    return postStamped(msg, "queueItem");
}

status_t APipe::queueItemMeta(const sp<AMessage>& meta) {
    int64_t timeUs;
    sp<ABuffer> frameMeta;
    if (meta == nullptr || !meta->findInt64("timeUs", &timeUs) ||
        !meta->findBuffer("frameMeta", &frameMeta) || frameMeta == nullptr) {
        ALOGE("[%s] queueItemMeta without \"timeUs\" or \"frameMeta\"", mName.c_str());
        return BAD_VALUE;
    }
    const sp<AMessage> msg = newIntake(kWhatQueueItemMeta);
    if (msg == nullptr) return UNKNOWN_ERROR;
    msg->setInt64("timeUs", timeUs);
    msg->setBuffer("frameMeta", frameMeta);
    return postStamped(msg, "queueItemMeta");
}

status_t APipe::flush() {
    postAndRaiseGeneration(kWhatFlush, "flush");
    return OK;
}

status_t APipe::release() {
    postAndRaiseGeneration(kWhatRelease, "release");
    return OK;
}

status_t APipe::setParameter(int key, int value) {
    for (APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get()) {
        pipe->onSetParameter(key, value);
    }
    return OK;
}

status_t APipe::setParameter(int key, const std::string& value) {
    for (APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get()) {
        pipe->onSetParameter(key, value);
    }
    return OK;
}

status_t APipe::setParameter(int key, const sp<AMessage>& value) {
    for (APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get()) {
        pipe->onSetParameter(key, value);
    }
    return OK;
}

void APipe::setRangeInfos(const std::vector<APipeRangeInfo>& infos) {
    const sp<SetRangeInfosParameter> parameter = new SetRangeInfosParameter;
    parameter->mRangeInfos = infos;
    const sp<AMessage> msg = newMessage(kWhatSetRangeInfos);
    msg->setObject("SetRangeInfosParameter", parameter);
    msg->setObject(kSender, mLoopLock);
    post(msg, "setRangeInfos");
}

sp<APipe> APipe::getLastPipe() {
    APipe* pipe = this;
    while (pipe->mNextPipe != nullptr)
        pipe = pipe->mNextPipe.get();
    return pipe;
}

int32_t APipe::getBufferGeneration() const {
    return mGeneration.load(std::memory_order_acquire);
}

void APipe::setBufferGeneration() {
    const Mutex::Autolock lock(mRaiseLock);
    raiseGenerationTo(getBufferGeneration() + 1);
}

status_t APipe::updateInputFormat(const sp<AMessage>& /*format*/) {
    return INVALID_OPERATION;
}

// --- The loop and its messages ---

status_t APipe::startLooper() {
    const Mutex::Autolock lock(mLoopLock->mMutex);
    if (mLooper != nullptr) {
        ALOGE("[%s] init while the looper runs", mName.c_str());
        return INVALID_OPERATION;
    }
    const sp<ALooper> looper = new ALooper;
    looper->setName((mName + "_Looper").c_str());
    const status_t err =
        looper->start(false /* runOnCallingThread */, false /* canCallJava */, kLooperPriority);
    if (err != OK) {
        ALOGE("[%s] init failed to start the looper (err %d)", mName.c_str(), err);
        return UNKNOWN_ERROR;
    }
    looper->registerHandler(this);
    mLooper = looper;
    mState = kStateCreated;
    return OK;
}

sp<ALooper> APipe::detachLooper() {
    const Mutex::Autolock lock(mLoopLock->mMutex);
    if (mLooper != nullptr) mLooper->unregisterHandler(id());
    return std::move(mLooper);
}

sp<AMessage> APipe::newMessage(Message what) {
    const Mutex::Autolock lock(mLoopLock->mMutex);
    return new AMessage(what, this);
}

// Null in a state that takes no items. Under one lock with startLooper(), so that a message for the
// looper of a new init cannot pass by the state from before it.
sp<AMessage> APipe::newIntake(Message what) {
    const Mutex::Autolock lock(mLoopLock->mMutex);
    if (mState != kStateInitialized) return nullptr;
    return new AMessage(what, this);
}

status_t APipe::post(const sp<AMessage>& msg, const char* operation) {
    const status_t err = msg->post();
    if (err == OK) return OK;
    ALOGE("[%s] %s without a looper: not initialised, or released", mName.c_str(), operation);
    return INVALID_OPERATION;
}

status_t APipe::postStamped(const sp<AMessage>& msg, const char* operation) {
    msg->setInt32("generation", getBufferGeneration());
    return post(msg, operation);
}

status_t APipe::postAndRaiseGeneration(Message what, const char* operation) {
    const sp<AMessage> msg = newMessage(what);
    const Mutex::Autolock lock(mRaiseLock);
    const int32_t raised = getBufferGeneration() + 1;
    msg->setInt32("generation", raised);
    const status_t err = post(msg, operation);
    // Only now, so that nothing stamped with the new generation is posted ahead of msg.
    raiseGenerationTo(raised);
    return err;
}

// The thread that posted a flush or release may be preempted before it has raised the generation.
// The loop does not wait for it: what the loop stamps next must carry the new generation.
void APipe::raiseGenerationOf(const sp<AMessage>& msg) {
    int32_t raised;
    if (msg->findInt32("generation", &raised)) raiseGenerationTo(raised);
}

void APipe::raiseGenerationTo(int32_t raised) {
    int32_t now = mGeneration.load(std::memory_order_relaxed);
    while (now < raised &&
           !mGeneration.compare_exchange_weak(now, raised, std::memory_order_release)) {
    }
}

void APipe::passOn(Message what, const char* operation, Notice completed) {
    APipe* last = this;
    // Stages that an init did not get to have no loop, nothing to forget and nobody to pass it on.
    while (last->mNextPipe != nullptr) {
        last = last->mNextPipe.get();
        if (last->postAndRaiseGeneration(what, operation) == OK) return;
    }
    last->notifyCompleted(completed);
}

bool APipe::isStale(const sp<AMessage>& msg) const {
    int32_t generation;
    CHECK(msg->findInt32("generation", &generation));
    return generation != getBufferGeneration();
}

void APipe::onMessageReceived(const sp<AMessage>& msg) {
    switch (msg->what()) {
        case kWhatInit:
            APipeLoopChecker::enter(mLoopChecker);
            return onInit(msg);
        case kWhatQueueItem:
            return onQueueItem(msg);
        case kWhatQueueItemMeta:
            return onQueueItemMeta(msg);
        case kWhatFlush:
            raiseGenerationOf(msg);
            return onFlush();
        case kWhatRelease:
            raiseGenerationOf(msg);
            return onRelease();
        case kWhatBufferReturned:
            onBufferReturned(msg);
            return;
        case kWhatSetRangeInfos:
            return onSetRangeInfos(msg);
        default:
            ALOGE("undefined message %d", msg->what());
    }
}

// --- Handlers ---

void APipe::onInit(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    // First, so that whoever sees the notice finds every stage of the chain taking items.
    mState = kStateInitialized;
    if (mNextPipe != nullptr) {
        sp<AMessage> src, dst;
        CHECK(msg->findMessage("src", &src));
        CHECK(msg->findMessage("dst", &dst));
        if (mNextPipe->init(src, dst) != OK) notifyError(UNKNOWN_ERROR);
    } else {
        notifyCompleted(kWhatInitCompleted);
    }
}

void APipe::onQueueItem(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object;
    CHECK(msg->findObject("item", &object));
    sp<APipeItem> item(static_cast<APipeItem*>(object.get()));
    if (isStale(msg)) {
        returnPoolInput(item);
        return;
    }
    if (mItemGenerator == nullptr) return workOn(std::move(item));
    offerOutputBuffer();
    mItemGenerator->pushItem(item);
    workOnCompletedItem();
}

void APipe::onQueueItemMeta(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (isStale(msg) || mItemGenerator == nullptr) return;
    mItemGenerator->pushItemMeta(msg);
    sendDroppedHome();
}

void APipe::onWork() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mNextPipe == nullptr || mOutputItems.empty()) return;
    const sp<APipeItem> item = std::move(*mOutputItems.begin());
    mOutputItems.erase(mOutputItems.begin());
    const status_t err = mNextPipe->queueItem(item);
    if (err == OK) {
        ATRACE_INSTANT_FOR_TRACK(mName.c_str(), "forwarded");
        return;
    }
    ALOGW("[%s] the next stage refused an output (err %d)", mName.c_str(), err);
    notifyOutputBufferDone(item->mInput, kBufferWithoutFrame);
}

void APipe::onFlush() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mItemGenerator != nullptr) mItemGenerator->flush();
    mWorkItems.clear();
    mOutputItems.clear();
    if (mBufferPool != nullptr) mBufferPool->flush();
    passOn(kWhatFlush, "flush", kWhatFlushCompleted);
}

void APipe::onRelease() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mItemGenerator != nullptr) mItemGenerator->release();
    mWorkItems.clear();
    mOutputItems.clear();
    // The looper is let go before the notice can reach a client: an init that answers the notice
    // finds every stage of the chain free. From here on a new looper may be at work.
    APipeLoopChecker::leave(mLoopChecker);
    const sp<ALooper> looper = detachLooper();
    passOn(kWhatRelease, "release", kWhatReleaseCompleted);
    if (looper != nullptr) looper->stop();
}

bool APipe::onBufferReturned(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object;
    msg->findObject("buffer", &object);
    // A reply that kept its buffer would hold it from inside the buffer's own metadata.
    msg->setObject("buffer", nullptr);
    if (isStale(msg)) {
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

void APipe::onSetRangeInfos(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object, sender;
    msg->findObject("SetRangeInfosParameter", &object);
    msg->findObject(kSender, &sender);
    if (object == nullptr || sender != mLoopLock) {
        ALOGE("SetRangeInfoParameter does not exist!");
        return;
    }
    mRangeInfos = static_cast<SetRangeInfosParameter*>(object.get())->mRangeInfos;
    if (mItemGenerator != nullptr) mItemGenerator->setRangeInfos(mRangeInfos);
}

bool APipe::isNeededSkipOnWork() {
    return false;
}

void APipe::onSetParameter(int /*key*/, int /*value*/) {}

void APipe::onSetParameter(int /*key*/, const std::string& /*value*/) {}

void APipe::onSetParameter(int /*key*/, const sp<AMessage>& /*value*/) {}

// --- Items and outputs ---

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

void APipe::workOn(sp<APipeItem> item) {
    mWorkItems.push_back(std::move(item));
    onWork();
}

void APipe::workOnFirstItem(const Engine& engine) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mWorkItems.empty()) return APipe::onWork();
    if (!isWorkable(*mWorkItems.begin())) {
        sendHome(takeFirstWorkItem());
        return notifyError(UNKNOWN_ERROR);
    }
    int32_t eos = 0;
    (*mWorkItems.begin())->mInput->getMeta()->findInt32("eos", &eos);
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
    ATRACE_NAME(mName.c_str());
    return engine(*item);
}

// --- Buffers on their way home or to the next stage ---

void APipe::sendHome(const sp<APipeItem>& item) {
    ATRACE_INSTANT_FOR_TRACK(mName.c_str(), "dropped");
    if (item->mInput != nullptr) notifyInputBufferDone(item->mInput);
    if (item->mSubInput != nullptr) notifyInputBufferDone(item->mSubInput);
    if (item->mOutput != nullptr) notifyOutputBufferDone(item->mOutput, kBufferWithoutFrame);
}

void APipe::sendDroppedHome() {
    for (const sp<APipeItem>& item : mItemGenerator->takeDroppedItems())
        sendHome(item);
}

void APipe::returnPoolInput(const sp<APipeItem>& item) {
    ATRACE_INSTANT_FOR_TRACK(mName.c_str(), "dropped");
    if (item->mInput != nullptr && !isClientBuffer(item->mInput)) item->mInput->release();
}

void APipe::notifyInputBufferDone(const sp<APipeBuffer>& buffer) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    int32_t bufferId;
    if (!buffer->getMeta()->findInt32("bufferId", &bufferId)) {
        buffer->release();
        return;
    }
    const sp<AMessage> notice = newNotice(kWhatInputBufferDone);
    if (notice == nullptr) return;
    int32_t surfaceId = -1;
    buffer->getMeta()->findInt32("surfaceId", &surfaceId);
    notice->setInt32("bufferId", bufferId);
    notice->setInt32("surfaceId", surfaceId);
    notice->post();
}

void APipe::notifyOutputBufferDone(const sp<APipeBuffer>& buffer, BufferFlag flag) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    if (mNextPipe == nullptr || (flag != kBufferWithFrame && isClientBuffer(buffer))) {
        postOutputDone(buffer, flag);
    } else if (flag == kBufferWithFrame) {
        appendOutput(buffer);
    } else {
        buffer->release();
    }
}

void APipe::appendOutput(const sp<APipeBuffer>& buffer) {
    const sp<APipeItem> item = new APipeItem;
    item->mInput = buffer;
    int32_t someoneWaits = 0;
    buffer->getMeta()->findInt32("use-wait-buffer", &someoneWaits);
    mOutputItems.insert(someoneWaits != 0 ? mOutputItems.begin() : mOutputItems.end(), item);
}

void APipe::postOutputDone(const sp<APipeBuffer>& buffer, BufferFlag flag) {
    int32_t bufferId;
    if (!buffer->getMeta()->findInt32("bufferId", &bufferId)) {
        ALOGE("[%s] notifyOutputBufferDone buffer without \"bufferId\"", mName.c_str());
        buffer->release();
        return notifyError(UNKNOWN_ERROR);
    }
    int64_t timeUs = -1;
    if (flag == kBufferWithFrame && !buffer->getMeta()->findInt64("timeUs", &timeUs)) {
        ALOGE("[%s] notifyOutputBufferDone frame without \"timeUs\"", mName.c_str());
        notifyError(UNKNOWN_ERROR);
        flag = kBufferWithoutFrame;
    }
    const sp<AMessage> notice = newNotice(kWhatOutputBufferDone);
    if (notice == nullptr) return;
    notice->setInt32("bufferId", bufferId);
    notice->setInt64("timeUs", timeUs);
    notice->setInt32("flag", flag);
    notice->post();
}

void APipe::setReply(const sp<APipeBuffer>& buffer) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    const int32_t generation = getBufferGeneration();
    APipeBuffer::Reply& last = buffer->mReply;
    if (last.lock != mLoopLock || last.generation != generation) {
        last = {newMessage(kWhatBufferReturned), mLoopLock, generation};
        last.message->setInt32("generation", generation);
    }
    buffer->getMeta()->setMessage("reply", last.message);
}

// --- Notices ---

void APipe::notifyError(int err) {
    ALOGE("[%s] notifyError err (%d)", mName.c_str(), err);
    mState = kStateError;
    const sp<AMessage> notice = newNotice(kWhatError);
    if (notice == nullptr) return;
    notice->setInt32("err", err);
    notice->post();
}

void APipe::notifyExtraData(const sp<ABuffer>& data) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    const sp<AMessage> notice = newNotice(kWhatExtraData);
    if (notice == nullptr) return;
    notice->setBuffer("extra_data", data);
    notice->post();
}

void APipe::notifyCompleted(Notice what) {
    const sp<AMessage> notice = newNotice(what);
    if (notice != nullptr) notice->post();
}

sp<AMessage> APipe::newNotice(Notice what) const {
    if (mNotify == nullptr) return nullptr;
    sp<AMessage> notice = mNotify->dup();
    notice->setInt32("what", what);
    return notice;
}

}  // namespace android
