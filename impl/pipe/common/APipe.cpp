// One asynchronous stage of a chain: what clients call, and the messages of its loop.
#define LOG_TAG "APipe"

#include "APipe.h"

#include <media/stagefright/foundation/ADebug.h>
#include <utils/Log.h>

#include "APipeLedger.h"
#include "APipeLoop.h"
#include "APipeLoopChecker.h"
#include "APipeNotifier.h"
#include "APipeStallWatch.h"
#include "APipeTrace.h"

namespace android {

namespace {

// Tells the stage's own messages by an object that only the stage has. What else is in them is then
// of the class that the stage has put there; no object can be asked for its class on a device.
constexpr const char* kSender = "sender";

constexpr const char* kRefusalTexts[] = {
    "init has not completed; wait for the init-completed notice",
    "the stage is in error; release the chain and call init again",
    "it has no looper: not initialised, or released",
};
static_assert(std::size(kRefusalTexts) == APipeCounts::kRefusalCount);

}  // namespace

APipe::APipe(const sp<APipe>& next, const sp<AMessage>& notify, const std::string& name)
    : mNextPipe(next),
      mName(name),
      mLoop(new APipeLoop(this, name, &mState)),
      mLoopChecker(APipeLoopChecker::create(name)),
      mLedger(std::make_unique<APipeLedger>()),
      mNotifier(std::make_unique<APipeNotifier>(notify, name)),
      mStallWatch(std::make_unique<APipeStallWatch>(mLoop, kWhatStallTick)),
      mTrace(std::make_unique<APipeTrace>(name)) {}

APipe::~APipe() {
    APipeLoopChecker::leave(mLoopChecker);
    if (mItemGenerator != nullptr && mItemGenerator->mLoopChecker == mLoopChecker) {
        mItemGenerator->mLoopChecker = nullptr;
    }
    const sp<ALooper> looper = mLoop->detach();
    if (looper != nullptr) looper->stop();
}

// --- Called by clients ---

void APipe::setItemGenerator(const sp<APipeItemGenerator>& generator) {
    if (generator != nullptr) {
        ALOGE_IF(generator->mLoopChecker != nullptr && generator->mLoopChecker != mLoopChecker,
                 "[%s] setItemGenerator with the generator of another stage: each needs its own",
                 mName.c_str());
        generator->mLoopChecker = mLoopChecker;
    }
    mItemGenerator = generator;
}

status_t APipe::init(const sp<AMessage>& src, const sp<AMessage>& dst) {
    const status_t err = mLoop->start(kLooperPriority, kStateCreated);
    if (err != OK) return err;
    mLedger->startAnew();
    const sp<AMessage> msg = mLoop->newMessage(kWhatInit);
    msg->setMessage("src", src);
    msg->setMessage("dst", dst);
    return mLoop->post(msg, "init");
}

status_t APipe::queueItem(const sp<APipeItem>& item) {
    if (item == nullptr) {
        ALOGE("[%s] queueItem without an item", mName.c_str());
        return BAD_VALUE;
    }
    status_t refusal;
    const sp<AMessage> msg = newIntake(kWhatQueueItem, "queueItem", &refusal);
    if (msg == nullptr) return refusal;
    announce(*item);
    msg->setObject("item", item);
    return mLoop->postStamped(msg, "queueItem");
}

status_t APipe::queueItemMeta(const sp<AMessage>& meta) {
    int64_t timeUs;
    sp<ABuffer> frameMeta;
    if (meta == nullptr || !meta->findInt64("timeUs", &timeUs) ||
        !meta->findBuffer("frameMeta", &frameMeta) || frameMeta == nullptr) {
        ALOGE("[%s] queueItemMeta without \"timeUs\" or \"frameMeta\"", mName.c_str());
        return BAD_VALUE;
    }
    status_t refusal;
    const sp<AMessage> msg = newIntake(kWhatQueueItemMeta, "queueItemMeta", &refusal);
    if (msg == nullptr) return refusal;
    msg->setInt64("timeUs", timeUs);
    msg->setBuffer("frameMeta", frameMeta);
    return mLoop->postStamped(msg, "queueItemMeta");
}

// Null, and one warning for each reason, when the stage takes nothing.
sp<AMessage> APipe::newIntake(Message what, const char* operation, status_t* refusal) {
    const sp<AMessage> msg = mLoop->newIntake(what, kStateInitialized, refusal);
    if (msg != nullptr) return msg;
    APipeCounts::Refusal why = APipeCounts::kWithoutLoop;
    if (*refusal != INVALID_OPERATION) {
        why = mState == kStateError ? APipeCounts::kInError : APipeCounts::kBeforeInit;
    }
    ALOGW_IF(mLedger->refuse(why), "[%s] %s refused: %s", mName.c_str(), operation,
             kRefusalTexts[why]);
    return nullptr;
}

status_t APipe::flush() {
    mLoop->postAndRaiseGeneration(kWhatFlush, "flush");
    return OK;
}

status_t APipe::release() {
    mLoop->postAndRaiseGeneration(kWhatRelease, "release");
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
    const sp<AMessage> msg = mLoop->newMessage(kWhatSetRangeInfos);
    msg->setObject("SetRangeInfosParameter", parameter);
    msg->setObject(kSender, mLoop);
    mLoop->post(msg, "setRangeInfos");
}

sp<APipe> APipe::getLastPipe() {
    APipe* pipe = this;
    while (pipe->mNextPipe != nullptr)
        pipe = pipe->mNextPipe.get();
    return pipe;
}

int32_t APipe::getBufferGeneration() const {
    return mLoop->generation();
}

void APipe::setBufferGeneration() {
    mLoop->raiseGeneration();
}

status_t APipe::updateInputFormat(const sp<AMessage>& /*format*/) {
    return INVALID_OPERATION;
}

// --- The loop ---

void APipe::onMessageReceived(const sp<AMessage>& msg) {
    if (msg->what() == kWhatStallTick) return onStallTick();
    mLedger->readClock();
    handle(msg);
    // After a release a new init may already be at work on a new looper.
    if (msg->what() != kWhatRelease) publish();
}

void APipe::handle(const sp<AMessage>& msg) {
    switch (msg->what()) {
        case kWhatInit:
            beginLife();
            return onInit(msg);
        case kWhatQueueItem:
            return onQueueItem(msg);
        case kWhatQueueItemMeta:
            return onQueueItemMeta(msg);
        case kWhatFlush:
            mLoop->raiseGenerationOf(msg);
            mLedger->enter(APipeActivity::kFlushing);
            return onFlush();
        case kWhatRelease:
            mLoop->raiseGenerationOf(msg);
            mLedger->enter(APipeActivity::kReleasing);
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

void APipe::beginLife() {
    APipeLoopChecker::enter(mLoopChecker);
    mStallWatch->begin();
    mReplyWarningGiven = false;
    mLedger->begin(mLoop->intakeCount());
    mLedger->enter(APipeActivity::kStarting);
}

void APipe::passOn(Message what, const char* operation, Notice completed) {
    APipe* last = this;
    // Stages that an init did not get to have no loop, nothing to forget and nobody to pass it on.
    while (last->mNextPipe != nullptr) {
        last = last->mNextPipe.get();
        if (last->mLoop->postAndRaiseGeneration(what, operation) == OK) return;
    }
    last->mNotifier->completed(completed);
}

void APipe::onInit(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    // First, so that whoever sees the notice finds every stage of the chain taking items.
    mState = kStateInitialized;
    if (mNextPipe == nullptr) return mNotifier->completed(kWhatInitCompleted);
    sp<AMessage> src, dst;
    CHECK(msg->findMessage("src", &src));
    CHECK(msg->findMessage("dst", &dst));
    mNextPipe->mStallWatch->setPrevious(this);
    if (mNextPipe->init(src, dst) != OK) return notifyError(UNKNOWN_ERROR);
    // To see whether the next stage gets through its onInit.
    mStallWatch->arm();
}

void APipe::onFlush() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    forgetAll();
    if (mItemGenerator != nullptr) mItemGenerator->flush();
    if (mBufferPool != nullptr) mBufferPool->flush();
    passOn(kWhatFlush, "flush", kWhatFlushCompleted);
}

void APipe::onRelease() {
    APipeLoopChecker::check(mLoopChecker, __func__);
    forgetAll();
    if (mItemGenerator != nullptr) mItemGenerator->release();
    publish();
    mLedger->enter(APipeActivity::kNone);
    // The looper is let go before the notice can reach a client: an init that answers the notice
    // finds every stage of the chain free. From here on a new looper may be at work.
    APipeLoopChecker::leave(mLoopChecker);
    const sp<ALooper> looper = mLoop->detach();
    passOn(kWhatRelease, "release", kWhatReleaseCompleted);
    if (looper != nullptr) looper->stop();
}

void APipe::onSetRangeInfos(const sp<AMessage>& msg) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    sp<RefBase> object, sender;
    msg->findObject("SetRangeInfosParameter", &object);
    msg->findObject(kSender, &sender);
    if (object == nullptr || sender != mLoop) {
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

// --- Notices ---

void APipe::notifyError(int err) {
    ALOGE("[%s] notifyError err (%d)", mName.c_str(), err);
    mState = kStateError;
    mLedger->noteError(err);
    mNotifier->error(kWhatError, err);
}

void APipe::notifyExtraData(const sp<ABuffer>& data) {
    APipeLoopChecker::check(mLoopChecker, __func__);
    mNotifier->extraData(kWhatExtraData, data);
}

}  // namespace android
