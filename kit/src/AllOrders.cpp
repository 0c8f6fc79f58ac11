// A small life, in every order.
#include <kit/AllOrders.h>

#include <android/log.h>
#include <host/GraphicsCounts.h>
#include <host/LooperScheduler.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <sstream>

#include "Actor.h"
#include "ChildProcess.h"
#include "Fields.h"
#include "Life.h"
#include "OrderTree.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::APipe;
using android::sp;
using android::host::LooperScheduler;

namespace {

constexpr int kFrames = 3;
// Which the client queues at once, as it may; their outputs wait for the notice.
constexpr int kFramesAfterFlush = 2;
// An op's argument that draws nothing out of the ordinary.
constexpr uint32_t kPlain = 0x101;

constexpr Process kCall = 0;

Process processOf(uint64_t looper) {
    return static_cast<Process>(looper) + 1;
}

// The client's looper is the first one, those of the stages follow in their order.
Process processOfStage(size_t stage) {
    return processOf(stage + 1);
}

Story storyOf(const Setting& setting) {
    Story story;
    for (size_t given = 0; given < setting.given.size(); ++given) {
        story.stages.emplace_back();
        story.stages.back().given = static_cast<int>(given);
    }
    return story;
}

// One order of one life.
// Threading: bound to its thread, as its scheduler.
class OrderedLife {
public:
    OrderedLife(const Setting& setting, Call call, OrderTree* tree)
        : mCall(call),
          mTree(tree),
          mStory(storyOf(setting)),
          mScheduler([this](const auto& due) { return choose(due); }),
          mChain(setting, mStory, mWitness, true, [](Actor&) {}) {}

    // False if the order was given up.
    bool live() {
        const LivingChain living(mChain.first());
        mChain.init();
        runToRest();
        queueAll();
        const bool isWhole = visit();
        runToRest();
        if (isWhole) check();
        mStages.clear();
        return isWhole;
    }
    std::shared_ptr<const Witness> sharedWitness() const { return mWitness; }

private:
    using Due = LooperScheduler::Due;

    // The loop that the tree has named, or any.
    size_t choose(const std::vector<Due>& due) {
        const auto named =
            std::ranges::find(due, mNamed, [](const Due& one) { return processOf(one.number); });
        const size_t chosen = named != due.end() ? static_cast<size_t>(named - due.begin()) : 0;
        Pulse::beat(due[chosen].name);
        return chosen;
    }

    void runToRest() {
        mNamed = OrderTree::kNobody;
        while (mScheduler.runOne() || mScheduler.advanceToNext()) {
        }
    }

    void queueAll() {
        for (sp<APipe> stage = mChain.first(); stage != nullptr; stage = StageAccess::nextOf(stage))
            mStages.push_back(stage);
        for (int i = 0; i < kFrames; ++i)
            mChain.queueOutput(kPlain);
        queueInputs(kFrames);
        remember();
        for (auto& [process, pending] : mPending)
            mCauses[process].assign(pending, -1);
    }

    void queueInputs(int count) {
        for (int i = 0; i < count; ++i)
            mChain.act({Act::QueueInput, kPlain});
    }

    bool visit() {
        bool called = false;
        for (;;) {
            std::vector<Process> enabled;
            for (const Due& one : mScheduler.due())
                enabled.push_back(processOf(one.number));
            if (!called) enabled.push_back(kCall);
            if (enabled.empty()) return true;
            mNamed = mTree->next(enabled);
            if (mNamed == OrderTree::kNobody) return false;
            if (mNamed != kCall) mWitness->tell(nameOf(mNamed));
            called |= mNamed == kCall;
            takeStep();
            if (mWitness->finding()) return true;
        }
    }

    void takeStep() {
        Step step;
        step.process = mNamed;
        const auto before = mPending;
        const auto raisedBefore = generations();
        if (mNamed == kCall) {
            makeCall();
        } else {
            auto& causes = mCauses[mNamed];
            step.cause = causes.empty() ? -1 : causes.front();
            if (!causes.empty()) causes.pop_front();
            mScheduler.runOne();
        }
        remember();
        const auto index = static_cast<int>(mTree->steps().size());
        for (const auto& [process, pending] : mPending) {
            const auto had = before.find(process);
            size_t left = had != before.end() ? had->second : 0;
            if (process == mNamed && left > 0) --left;
            if (pending <= left) continue;
            step.posted |= bitOf(process);
            mCauses[process].insert(mCauses[process].end(), pending - left, index);
        }
        const auto raisedAfter = generations();
        for (size_t stage = 0; stage < mStages.size(); ++stage)
            if (raisedBefore[stage] != raisedAfter[stage])
                step.raised |= bitOf(processOfStage(stage));
        if (mNamed == kCall) step.raised |= bitOf(processOfStage(0));
        mHasRaised |= step.raised != 0;
        if (mHasRaised) step.pooled = neighboursOf(mNamed);
        mTree->took(step);
    }

    void makeCall() {
        if (mCall == Call::Flush) {
            mChain.flush();
            queueInputs(kFramesAfterFlush);
        }
        if (mCall == Call::Release) mChain.release();
        if (mCall == Call::Pause) mChain.setPaused(0, true);
    }

    void remember() {
        mPending.clear();
        for (const Due& one : mScheduler.due())
            mPending[processOf(one.number)] = one.pending;
    }

    std::vector<int32_t> generations() const {
        std::vector<int32_t> all;
        for (const sp<APipe>& stage : mStages)
            all.push_back(stage->getBufferGeneration());
        return all;
    }

    Processes neighboursOf(Process process) const {
        Processes neighbours = 0;
        for (size_t stage = 0; stage < mStages.size(); ++stage) {
            if (processOfStage(stage) != process) continue;
            if (stage > 0) neighbours |= bitOf(processOfStage(stage - 1));
            if (stage + 1 < mStages.size()) neighbours |= bitOf(processOfStage(stage + 1));
        }
        return neighbours;
    }

    std::string nameOf(Process process) const {
        if (process == kCall) return kit::nameOf(mCall);
        if (process == processOf(0)) return "client";
        const size_t stage = process - processOfStage(0);
        return stage < mStages.size() ? StageAccess::nameOf(mStages[stage]) : "another loop";
    }

    void check() {
        if (mCall == Call::Flush) checkFlushed();
        if (mCall != Call::Release) mChain.release();
        runToRest();
        checkHome("after the release");
        mChain.client().checkHome();
    }

    // The frames from after it come through.
    void checkFlushed() {
        if (mChain.client().isWaiting()) mWitness->complain("R-NOTICE", "no notice of the flush");
        const uint64_t before = mWitness->frames;
        for (int i = 0; i < kFramesAfterFlush; ++i)
            mChain.queueOutput(kPlain);
        runToRest();
        if (mWitness->frames != before + kFramesAfterFlush)
            mWitness->complain("R-FLUSH", "a frame from after the flush does not come through");
        checkHome("after the flush");
        if (!mChain.poolsAreWhole())
            mWitness->complain("R-POOL", "a pool buffer is lost or doubled after the flush");
    }

    void checkHome(const std::string& when) {
        if (mChain.client().isWaiting())
            mWitness->complain("R-NOTICE", "no completion notice " + when);
        const std::string away = mChain.client().awayText();
        if (!away.empty()) mWitness->complain("R-HOME", away + " never came home, " + when);
    }

    const Call mCall;
    OrderTree* const mTree;
    const Story mStory;
    const std::shared_ptr<Witness> mWitness = std::make_shared<Witness>();
    Process mNamed = OrderTree::kNobody;
    LooperScheduler mScheduler;
    Actor mChain;
    std::vector<sp<APipe>> mStages;
    std::map<Process, size_t> mPending;          // messages that wait, as of the last step
    std::map<Process, std::deque<int>> mCauses;  // for each of them the step that posted it
    bool mHasRaised = false;
};

void visitAll(const Setting& setting, Call call, AllOrdersReport* report) {
    OrderTree tree;
    do {
        const auto before = android::host::graphicsCounts();
        std::shared_ptr<const Witness> witness;
        bool isWhole = false;
        {
            OrderedLife life(setting, call, &tree);
            isWhole = life.live();
            witness = life.sharedWitness();
        }
        ++(isWhole ? report->orders : report->abandoned);
        auto finding = witness->finding();
        if (!finding && (witness->alive() != 0 || !(android::host::graphicsCounts() == before)))
            finding = {"R-NOTHING", "a buffer or graphics memory is left", ""};
        if (!finding) continue;
        report->found = true;
        report->promise = finding->promise;
        report->what = finding->what;
        report->order = witness->story();
        report->state = finding->state;
        return;
    } while (tree.advance());
}

}  // namespace

const char* nameOf(Call call) {
    constexpr const char* kNames[] = {"flush", "release", "pause"};
    return kNames[static_cast<int>(call)];
}

AllOrdersReport visitAllOrders(const std::vector<StageSpec>& stages, Call call,
                               std::chrono::milliseconds deadline) {
    Pulse& pulse = sharedPulse();
    const ChildEnd end = runInChild(
        pulse, deadline,
        [&] {
            __android_log_set_logger([](const __android_log_message*) {});
            AllOrdersReport report;
            const Setting setting = Setting::around(stages);
            if (setting.given.size() == stages.size()) {
                visitAll(setting, call, &report);
            } else {
                report.found = true;
                report.promise = "R-NOTICE";
                report.what = "the stages take no format that is known, by themselves";
            }
            FieldWriter fields;
            fields << report.found << report.promise << report.what << report.order << report.state
                   << report.orders << report.abandoned;
            pulse.result.set(fields.text());
            pulse.found = report.found;
        },
        LivingChain::stateText);
    AllOrdersReport report;
    if (end == ChildEnd::Done) {
        FieldReader fields(pulse.result.get());
        fields >> report.found >> report.promise >> report.what >> report.order >> report.state >>
            report.orders >> report.abandoned;
        return report;
    }
    report.found = true;
    report.promise = end == ChildEnd::Hung ? "R-WAIT" : "R-ERROR";
    report.what = pulse.loop.get() + (end == ChildEnd::Hung ? " hangs" : " crashes");
    report.order = pulse.story.get();
    report.state = pulse.state.get();
    return report;
}

std::string toText(const AllOrdersReport& report, Call call) {
    std::ostringstream text;
    if (!report.found) {
        text << report.orders << " orders of three frames and one " << nameOf(call)
             << ", which are all (" << report.abandoned
             << " begun and given up as alike), 0 findings\n";
        return text.str();
    }
    text << report.promise << " is broken: " << report.what << "\norder: " << report.order << "\n"
         << report.state << (report.state.empty() || report.state.ends_with('\n') ? "" : "\n")
         << "found in order " << report.orders << "\n";
    return text.str();
}

}  // namespace plexa::kit
