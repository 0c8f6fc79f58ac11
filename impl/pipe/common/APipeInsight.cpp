// What a stage tells of itself, and the watch over its progress.
#define LOG_TAG "APipe"

#include <android/log.h>
#include <utils/Log.h>

#include <algorithm>
#include <utility>

#include "APipe.h"
#include "APipeLedger.h"
#include "APipeLoop.h"
#include "APipeNotifier.h"
#include "APipePlace.h"
#include "APipeReport.h"
#include "APipeStageView.h"
#include "APipeStallWatch.h"
#include "APipeTrace.h"

namespace android {

namespace {

constexpr double kMsPerSecond = 1'000;

APipeStageView::Queue viewOf(const APipeQueueRecord& queue) {
    return {queue.count.get(), queue.firstUs.get(), queue.lastUs.get()};
}

}  // namespace

std::string APipe::debugString() const {
    return report().text();
}

// Of this stage and all after it.
APipeReport APipe::report() const {
    std::vector<APipeStageView> views;
    for (const APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get())
        views.push_back(pipe->view());
    const sp<APipe> previous = mStallWatch->previous();
    return {std::move(views), previous != nullptr ? previous->mName : "the client"};
}

APipeCounts APipe::getCounts() const {
    return mLedger->counts();
}

APipeCounts APipe::getCountsSinceFlush() const {
    return mLedger->countsSinceFlush();
}

void APipe::setStallTime(int64_t us) {
    for (APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get())
        pipe->mStallWatch->setTime(us);
}

void APipe::publish() {
    describeLists();
    mLedger->enter(APipeActivity::kIdle);
    if (APipeTrace::isOn()) tracePublished();
    const bool isToWatch = mStallWatch->note(isBusy(), mLedger->progress(), mLedger->nowMs()) ||
                           mNotifier->postedCount() != mNoticesAtTick;
    if (isToWatch && !mStallWatch->isArmed()) armWatches();
    const int64_t standstillMs = mStallWatch->takeStandstillMs();
    ALOGI_IF(standstillMs >= 0, "[%s] moves again after %.2f s", mName.c_str(),
             static_cast<double>(standstillMs) / kMsPerSecond);
}

bool APipe::isBusy() const {
    if (mState == kStateCreated) return true;  // its init is to come to an end
    return mState == kStateInitialized && mLedger->record().hasWork();
}

// What changes as an item goes to work, for whoever asks while it is there.
void APipe::describeWork() {
    APipeStageRecord& record = mLedger->record();
    record.toWork.describe(mWorkItems);
    if (mItemGenerator != nullptr) mItemGenerator->describe(&record.pending);
}

void APipe::describeLists() {
    describeWork();
    APipeStageRecord& record = mLedger->record();
    record.toSend.describe(mOutputItems);
    int64_t listed = record.pending.buffers() + record.toSend.count.get();
    for (const sp<APipeItem>& item : mWorkItems)
        listed += APipePlace::countBuffers(*item);
    record.kept.set(mLedger->keptBeside(listed));
    if (mBufferPool == nullptr) return;
    const size_t free = mBufferPool->mAvailableBuffers.size();
    const size_t out = mBufferPool->mBuffersInUse.size() + mBufferPool->mBuffersInWait.size();
    record.poolFree.set(static_cast<int64_t>(free));
    record.poolSize.set(static_cast<int64_t>(free + out));
    mLedger->usePool(mBufferPool->mTable);
}

void APipe::tracePublished() const {
    const APipeStageRecord& record = mLedger->record();
    mTrace->counters(record.pending.inputs.count.get(), record.pending.outputs.get(),
                     record.poolFree.get());
}

void APipe::armWatches() {
    mStallWatch->arm();
    if (mNextPipe != nullptr) mNextPipe->mStallWatch->arm();
    if (const sp<APipe> previous = mStallWatch->previous()) previous->mStallWatch->arm();
}

void APipe::onStallTick() {
    mLedger->readClock();
    const int64_t nowMs = mLedger->nowMs();
    mNoticesAtTick = mNotifier->postedCount();
    mStallWatch->note(isBusy() || mNotifier->untakenCount() > 0, mLedger->progress(), nowMs);
    if (mStallWatch->tick(nowMs)) logStall(this);
    const sp<APipe> previous = mStallWatch->previous();
    for (const APipe* neighbour : {previous.get(), mNextPipe.get()}) {
        if (neighbour == nullptr || !neighbour->mLoop->hasLooper()) continue;
        if (mStallWatch->isStuck(neighbour->mLedger->activity(), nowMs)) logStall(neighbour);
    }
    if (mStallWatch->isArmed()) armWatches();
}

void APipe::logStall(const APipe* stage) const {
    const APipeReport report = stage->report();
    const APipeReport::Wait wait = report.waitOf(0);
    const int priority = wait.isForClient ? ANDROID_LOG_INFO : ANDROID_LOG_WARN;
    const std::string who = stage == this ? "" : " (says " + mName + ")";
    __android_log_print(priority, LOG_TAG, "[%s] stalled: %s%s", stage->mName.c_str(),
                        wait.what.c_str(), who.c_str());
    __android_log_print(priority, LOG_TAG, "%s", report.text().c_str());
}

APipeStageView APipe::view() const {
    APipeStageView view;
    view.name = mName;
    view.stay = mLedger->stay();
    view.generation = mLoop->generation();
    view.hasLooper = mLoop->hasLooper();
    view.hasNext = mNextPipe != nullptr;
    view.isCreated = mState == kStateCreated;
    view.untakenNotices = mNotifier->untakenCount();
    view.activity = mLedger->activity();
    view.counts = mLedger->counts();
    view.forgottenByLastFlush = mLedger->forgottenByLastFlush();
    view.failure = mLedger->failure();
    view.queued = std::max<int64_t>(mLoop->intakeCount() - mLedger->arrivedCount(), 0);
    view.nowMs = coarseNowMs();
    const APipeStageRecord& record = mLedger->record();
    view.inputs = viewOf(record.pending.inputs);
    view.outputs = record.pending.outputs.get();
    view.subInputs = viewOf(record.pending.subInputs);
    view.metas = viewOf(record.pending.metas);
    view.toWork = viewOf(record.toWork);
    view.toSend = viewOf(record.toSend);
    view.missing = record.pending.missing.get();
    view.isPaused = record.pending.isPaused.get() != 0;
    view.poolFree = record.poolFree.get();
    view.poolSize = record.poolSize.get();
    if (const sp<APipePoolTable> pool = mLedger->pool()) {
        for (const auto& [id, entry] : pool->entries()) {
            const APipeBuffer& buffer = *entry.buffer.unsafe_get();
            view.pool.push_back(
                {id, APipePlace::of(buffer), APipePlace::frameOf(buffer), entry.isTakenByFlush});
        }
    }
    return view;
}

}  // namespace android
