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

int64_t buffersIn(const APipeItem& item) {
    return (item.mInput != nullptr ? 1 : 0) + (item.mSubInput != nullptr ? 1 : 0) +
           (item.mOutput != nullptr ? 1 : 0);
}

// How many buffers there are in the items.
int64_t describeItems(const List<sp<APipeItem>>& items, APipeQueueRecord* queue) {
    if (items.empty()) return 0;
    int64_t buffers = 0;
    for (const sp<APipeItem>& item : items) {
        buffers += buffersIn(*item);
        ++queue->count;
        queue->lastUs = APipePlace::frameOf(item->mInput);
    }
    queue->firstUs = APipePlace::frameOf((*items.begin())->mInput);
    return buffers;
}

}  // namespace

std::string APipe::debugString() const {
    const sp<APipe> previous = mStallWatch->previous();
    return APipeReport(viewsFromHere(), previous != nullptr ? previous->mName : "the client")
        .text();
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
    APipeStageRecord record;
    const int64_t listed = describeLists(&record);
    mLedger->publish(&record, listed);
    mLedger->enter(APipeActivity::kIdle);
    mTrace->waiting(record.pending.inputs.count, record.pending.outputs.count);
    if (mStallWatch->note(isBusy(record), record.progress(), mLedger->nowMs()) ||
        mNotifier->postedCount() != mNoticesAtTick) {
        armWatches();
    }
    const int64_t standstillMs = mStallWatch->takeStandstillMs();
    ALOGI_IF(standstillMs >= 0, "[%s] moves again after %.2f s", mName.c_str(),
             static_cast<double>(standstillMs) / kMsPerSecond);
}

bool APipe::isBusy(const APipeStageRecord& record) const {
    if (mState == kStateCreated) return true;  // its init is to come to an end
    return mState == kStateInitialized && record.hasWork();
}

int64_t APipe::describeLists(APipeStageRecord* record) const {
    int64_t listed = describeItems(mWorkItems, &record->toWork);
    listed += describeItems(mOutputItems, &record->toSend);
    if (mItemGenerator != nullptr) {
        mItemGenerator->describe(&record->pending);
        const APipePending& pending = record->pending;
        listed += pending.inputs.count + pending.outputs.count + pending.subInputs.count +
                  pending.otherBuffers;
    }
    sp<APipePoolTable> table;
    if (mBufferPool != nullptr) {
        table = mBufferPool->mTable;
        record->poolFree = static_cast<int64_t>(mBufferPool->mAvailableBuffers.size());
        record->poolSize =
            record->poolFree + static_cast<int64_t>(mBufferPool->mBuffersInUse.size() +
                                                    mBufferPool->mBuffersInWait.size());
        mTrace->freeBuffers(record->poolFree);
    }
    mLedger->usePool(table);
    record->state = mState;
    return listed;
}

void APipe::armWatches() {
    mStallWatch->arm();
    if (mNextPipe != nullptr) mNextPipe->mStallWatch->arm();
    if (const sp<APipe> previous = mStallWatch->previous()) previous->mStallWatch->arm();
}

void APipe::onStallTick() {
    mLedger->readClock();
    const int64_t nowMs = mLedger->nowMs();
    const APipeStageRecord record = mLedger->record();
    mNoticesAtTick = mNotifier->postedCount();
    mStallWatch->note(isBusy(record) || mNotifier->untakenCount() > 0, record.progress(), nowMs);
    if (mStallWatch->tick(nowMs)) logStall(this);
    const sp<APipe> previous = mStallWatch->previous();
    for (const APipe* neighbour : {previous.get(), mNextPipe.get()}) {
        if (neighbour == nullptr || !neighbour->mLoop->hasLooper()) continue;
        if (mStallWatch->isStuck(neighbour->mLedger->activity(), nowMs)) logStall(neighbour);
    }
    if (mStallWatch->isArmed()) armWatches();
}

void APipe::logStall(const APipe* stage) const {
    const APipeReport report(stage->viewsFromHere());
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
    view.isInitialised = mState == kStateInitialized;
    view.untakenNotices = mNotifier->untakenCount();
    view.activity = mLedger->activity();
    view.record = mLedger->record();
    view.counts = mLedger->counts();
    view.failure = mLedger->failure();
    view.queued = std::max<int64_t>(mLoop->intakeCount() - view.record.arrived, 0);
    view.nowMs = coarseNowMs();
    if (const sp<APipePoolTable> pool = mLedger->pool()) {
        for (const auto& [id, entry] : pool->entries()) {
            const APipeBuffer& buffer = *entry.buffer.unsafe_get();
            view.pool.push_back(
                {id, APipePlace::of(buffer), APipePlace::frameOf(buffer), entry.isTakenByFlush});
        }
    }
    return view;
}

std::vector<APipeStageView> APipe::viewsFromHere() const {
    std::vector<APipeStageView> views;
    for (const APipe* pipe = this; pipe != nullptr; pipe = pipe->mNextPipe.get())
        views.push_back(pipe->view());
    return views;
}

}  // namespace android
