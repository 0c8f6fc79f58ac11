// A chain's state in words.
#include "APipeReport.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>

#include "APipeStatusName.h"

namespace android {

namespace {

constexpr size_t kNoHolder = SIZE_MAX;

std::string ageText(int64_t nowMs, int64_t sinceMs) {
    constexpr double kMsPerSecond = 1'000;
    char text[32];
    snprintf(text, sizeof(text), "%.2f s",
             static_cast<double>(std::max<int64_t>(nowMs - sinceMs, 0)) / kMsPerSecond);
    return text;
}

std::string frameText(int64_t timeUs) {
    return timeUs < 0 ? "a frame without a time" : "frame " + std::to_string(timeUs);
}

std::string countText(int64_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string queueText(const APipeStageView::Queue& queue, const char* noun) {
    std::string text = countText(queue.count, noun);
    if (queue.count == 0 || queue.firstUs < 0) return text;
    text += " (" + std::to_string(queue.firstUs);
    if (queue.count > 1) text += " to " + std::to_string(queue.lastUs);
    return text + " us)";
}

std::string activityText(const APipeStageView& view) {
    const std::string age = ageText(view.nowMs, view.activity.sinceMs);
    switch (view.activity.kind) {
        case APipeActivity::kStarting:
            return "in onInit for " + age;
        case APipeActivity::kIdle:
            return "idle for " + age;
        case APipeActivity::kInWork:
            return "at work on " + frameText(view.activity.frameUs) + " for " + age;
        case APipeActivity::kFlushing:
            return "in onFlush for " + age;
        case APipeActivity::kReleasing:
            return "in onRelease for " + age;
        default:
            return "no message handled yet";
    }
}

std::string stateText(const APipeStageView& view) {
    if (!view.hasLooper) return "without a loop";
    std::string text = view.isCreated ? "created" : "initialised";
    if (view.failure.notified != OK) text = "in error";
    return text + ", generation " + std::to_string(view.generation) + "; " + activityText(view);
}

std::string failureText(const APipeLedger::Failure& failure) {
    if (failure.engine == OK) return "error " + statusName(failure.notified);
    return statusName(failure.engine) + " on " + frameText(failure.frameUs);
}

std::string generatorText(const APipeStageView& view) {
    std::string text =
        "generator: " + queueText(view.inputs, "input") + ", " + countText(view.outputs, "output");
    if (view.subInputs.count > 0) text += ", " + queueText(view.subInputs, "sub input");
    if (view.metas.count > 0) text += ", metadata of " + queueText(view.metas, "frame");
    text += "; to work on: " + queueText(view.toWork, "item");
    if (view.hasNext) text += "; for the next stage: " + queueText(view.toSend, "output");
    if (view.queued > 0) text += "; on their way to it: " + countText(view.queued, "item");
    return text;
}

}  // namespace

APipeReport::APipeReport(std::vector<APipeStageView> stages, std::string before)
    : mStages(std::move(stages)), mBefore(std::move(before)) {}

APipeReport::Wait APipeReport::waitOf(size_t stage) const {
    const APipeStageView& view = mStages[stage];
    Wait wait = waitOfLoop(view);
    if (wait.what.empty()) wait = waitOfInputs(stage);
    if (view.untakenNotices > 0 && wait.isForClient) {
        wait.what = "its client's loop has not taken " + countText(view.untakenNotices, "notice") +
                    "; " + wait.what;
    }
    return wait;
}

// What has to do with the stage itself, whatever its inputs are.
APipeReport::Wait APipeReport::waitOfLoop(const APipeStageView& view) const {
    const std::string age = ageText(view.nowMs, view.activity.sinceMs);
    if (!view.hasLooper) return {"has no loop: it was never initialised, or released", true};
    if (view.failure.notified != OK) {
        return {"is in error since " + failureText(view.failure) +
                    ": release the chain and call init again",
                false};
    }
    if (view.activity.kind == APipeActivity::kStarting)
        return {"its onInit has been running for " + age, false};
    if (view.activity.kind == APipeActivity::kFlushing)
        return {"its onFlush has been running for " + age, false};
    if (view.activity.kind == APipeActivity::kReleasing)
        return {"its onRelease has been running for " + age, false};
    if (view.activity.kind == APipeActivity::kInWork) {
        return {"its work on " + frameText(view.activity.frameUs) + " has been running for " + age,
                false};
    }
    if (view.isCreated && view.activity.kind != APipeActivity::kNone)
        return {"its onInit never called APipe::onInit", false};
    if (view.toWork.count > 0) {
        return {"has " + countText(view.toWork.count, "item") +
                    " to work on and took no step: did its onWork leave them in mWorkItems?",
                false};
    }
    if (view.toSend.count > 0) {
        return {"has " + countText(view.toSend.count, "output") +
                    " for the next stage and does not send them: did its onWork call "
                    "APipe::onWork?",
                false};
    }
    if (view.counts.kept > 0) {
        return {"keeps " + countText(view.counts.kept, "buffer") +
                    " that it took from mWorkItems: send inputs home and outputs on",
                false};
    }
    return {};
}

APipeReport::Wait APipeReport::waitOfInputs(size_t stage) const {
    const APipeStageView& view = mStages[stage];
    if (view.inputs.count == 0) {
        if (view.subInputs.count > 0) {
            return {"waits for the input of " + frameText(view.subInputs.firstUs) +
                        ", whose sub input is there",
                    true};
        }
        return {"nothing to do: waits for an input from " + nameBefore(stage), true};
    }
    if (view.isPaused) {
        return {"is paused with " + countText(view.inputs.count, "input") + " pending", true};
    }
    if (view.outputs == 0) {
        return view.hasNext ? waitForPoolBuffer(stage) : waitForClientsOutput(view);
    }
    if (view.missing == APipePending::kMetadata)
        return {"waits for metadata of " + frameText(view.inputs.firstUs), true};
    if (view.missing == APipePending::kSubInput)
        return {"waits for the sub input of " + frameText(view.inputs.firstUs), true};
    return {"its generator has " + countText(view.inputs.count, "input") + " and " +
                countText(view.outputs, "output") + " and completes no item",
            false};
}

APipeReport::Wait APipeReport::waitForClientsOutput(const APipeStageView& view) const {
    std::string what =
        "waits for an output from the client: " + countText(view.inputs.count, "input") +
        " queued, none pending";
    const int64_t forgotten = view.forgottenByLastFlush;
    if (forgotten > 0) {
        what += "; its last flush forgot " + countText(forgotten, "buffer") +
                ": queue outputs after the flush-completed notice";
    }
    return {what, true};
}

APipeReport::Wait APipeReport::waitForPoolBuffer(size_t stage) const {
    const APipeStageView& view = mStages[stage];
    if (view.poolSize == APipeStageRecord::kNoPool)
        return {"has no pool for its outputs: its onInit must call setBufferInfo", false};
    if (view.poolSize == 0)
        return {"waits for a free pool buffer: its pool has none, setBufferInfo asked for 0",
                false};
    if (view.poolFree > 0)
        return {"has a free pool buffer, but nothing came since that makes it take one", false};

    std::map<size_t, int64_t> held;  // how many by each stage
    int64_t sinceMs = view.nowMs;
    for (const APipeStageView::PoolBuffer& buffer : view.pool) {
        if (buffer.isTakenByFlush) continue;
        ++held[holderOf(buffer.place)];
        sinceMs = std::min(sinceMs, buffer.place.sinceMs);
    }
    Wait wait{"waits for a free pool buffer:", false};
    const char* separator = " ";
    for (const auto& [holder, count] : held) {
        wait.what += separator + std::to_string(count) + " of " + std::to_string(view.poolSize) +
                     (count == 1 ? " is with " : " are with ") +
                     (holder == kNoHolder ? "someone outside" : mStages[holder].name);
        separator = ", ";
    }
    wait.what += " since " + ageText(view.nowMs, sinceMs);
    const auto after = held.upper_bound(stage);
    if (after == held.end() || after->first == kNoHolder) return wait;
    const Wait cause = waitOf(after->first);
    wait.what += "; " + mStages[after->first].name + ": " + cause.what;
    wait.isForClient = cause.isForClient;
    return wait;
}

std::string APipeReport::stageText(size_t stage) const {
    const APipeStageView& view = mStages[stage];
    std::string text = view.name + "  " + stateText(view);
    text += "\n    " + waitOf(stage).what;
    text += "\n    " + generatorText(view);
    if (view.poolSize != APipeStageRecord::kNoPool) text += "\n    " + poolText(stage);
    text += "\n    " + view.counts.toString();
    return text;
}

std::string APipeReport::text() const {
    std::string text;
    for (size_t i = 0; i < mStages.size(); ++i)
        text += stageText(i) + "\n";
    return text;
}

const std::string& APipeReport::nameBefore(size_t stage) const {
    return stage == 0 ? mBefore : mStages[stage - 1].name;
}

size_t APipeReport::holderOf(const APipePlace& place) const {
    if (place.kind == APipePlace::kOutside || place.kind == APipePlace::kOnTheWayHome)
        return kNoHolder;
    for (size_t i = 0; i < mStages.size(); ++i) {
        if (mStages[i].stay == place.stay) return i;
    }
    return kNoHolder;
}

std::string APipeReport::placeText(const APipePlace& place, size_t stage) const {
    if (place.kind == APipePlace::kOnTheWayHome) return "on its way home";
    const size_t holder = holderOf(place);
    if (holder == kNoHolder) return "with someone outside";
    const std::string& name = mStages[holder].name;
    const std::string whose = holder == stage ? "its own" : name + "'s";
    switch (place.kind) {
        case APipePlace::kOnTheWay:
            return "on the way to " + name;
        case APipePlace::kInGenerator:
            return "in " + whose + " generator";
        case APipePlace::kToSend:
            return "waiting for the next stage";
        default:
            return "in " + whose + " work";
    }
}

std::string APipeReport::poolText(size_t stage) const {
    const APipeStageView& view = mStages[stage];
    std::string text =
        "pool: " + std::to_string(view.poolFree) + " of " + std::to_string(view.poolSize) + " free";
    for (const APipeStageView::PoolBuffer& buffer : view.pool) {
        if (buffer.place.kind == APipePlace::kInPool && !buffer.isTakenByFlush) continue;
        text += "; #" + std::to_string(buffer.id);
        if (buffer.frameUs >= 0) text += " " + frameText(buffer.frameUs);
        text += buffer.isTakenByFlush ? " free, and still read by who had it"
                                      : " " + placeText(buffer.place, stage) + " for " +
                                            ageText(view.nowMs, buffer.place.sinceMs);
    }
    return text;
}

}  // namespace android
