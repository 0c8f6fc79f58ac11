// Many lives, in processes of their own.
#include <kit/Exercise.h>

#include <android/log.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "ChildProcess.h"
#include "Fields.h"
#include "Life.h"
#include "StageAccess.h"

namespace plexa::kit {

namespace {

using std::chrono::milliseconds;

// How much longer than one message a life on threads may take.
constexpr int kThreadPatience = 20;
// While a story that hangs or crashes is shrunk: what a try that hangs costs, and all together.
constexpr milliseconds kTryPatience{80};
constexpr milliseconds kShrinkTime{4000};
constexpr int kMostClients = 3;

std::vector<std::string> namesOf(const std::vector<StageSpec>& stages) {
    std::vector<std::string> names;
    std::ranges::transform(stages, std::back_inserter(names), &StageSpec::name);
    return names;
}

std::string withoutLoop(const std::string& looper) {
    return looper.substr(0, looper.find("_Looper"));
}

void keepQuiet(const __android_log_message* /*message*/) {}

// One exercise: what the parent asks of its children, and what they answer.
class Exercise {
public:
    Exercise(const std::vector<StageSpec>& stages, const ExerciseOptions& options)
        : mStages(stages), mOptions(options) {}

    ExerciseReport run() {
        const auto end = inChild(mOptions.deadline * (mOptions.threads ? kThreadPatience : 1),
                                 LivingChain::stateText, [this] { liveAll(); });
        if (end == ChildEnd::Done) return answered();
        if (!mPulse.lives) return failedAlone(end);
        const Story story =
            drawStory(mPulse.seed, {static_cast<int>(mStages.size()), mPulse.mayPrecede,
                                    mPulse.mayFollow, mOptions.faults});
        const ExerciseReport report = ended(end, story);
        return mOptions.threads ? report : shrunkEnded(report, story);
    }

private:
    ChildEnd inChild(milliseconds patience, std::string (*state)(),
                     const std::function<void()>& work) {
        mPulse.lives = false;
        return runInChild(mPulse, patience, work, state);
    }

    // --- In the child ---

    Setting setting() const {
        return mStages.empty() ? Setting::ofNeighbours() : Setting::around(mStages);
    }
    LifeReport live(const Setting& setting, const Story& story) const {
        mPulse.story.set("");
        if (!mOptions.threads) return liveOnScheduler(setting, story);
        Pulse::beat("");
        return liveOnThreads(setting, story, 1 + static_cast<int>(story.seed % kMostClients));
    }
    void liveAll() const {
        if (!mOptions.logs) __android_log_set_logger(keepQuiet);
        const Setting around = setting();
        ExerciseReport report;
        if (around.given.size() != mStages.size()) {
            report.found = true;
            report.promise = "R-NOTICE";
            report.what = "the stages take no format that is known, by themselves";
            return answer(report);
        }
        if (!mStages.empty() && around.digests.empty())
            report.note = "pictures were not compared: what becomes of a frame varies";
        const Cast cast = around.cast(mOptions.faults);
        mPulse.mayPrecede = cast.mayPrecede;
        mPulse.mayFollow = cast.mayFollow;
        mPulse.lives = true;
        for (uint64_t life = 0; life < mOptions.lives && !report.found; ++life) {
            mPulse.seed = mOptions.seed + life;
            const Story story = drawStory(mOptions.seed + life, cast);
            const LifeReport lived = live(around, story);
            ++report.lives;
            report.frames += lived.frames;
            if (lived.finding) tell(&report, around, story, lived);
        }
        answer(report);
    }
    void tell(ExerciseReport* report, const Setting& around, const Story& story,
              const LifeReport& lived) const {
        Story least = story;
        LifeReport last = lived;
        if (!mOptions.threads) {
            const auto fails = [&](const Story& less) {
                const auto finding = live(around, less).finding;
                return finding && finding->promise == lived.finding->promise;
            };
            least = shrunk(story, fails);
            last = live(around, least);
        }
        if (!last.finding) last = lived;
        report->found = true;
        report->promise = last.finding->promise;
        report->what = last.finding->what;
        report->chain = chainText(least, namesOf(mStages));
        report->story = last.story;
        report->state = last.finding->state;
        report->seed = story.seed;
    }
    void answer(const ExerciseReport& report) const {
        FieldWriter fields;
        fields << report.found << report.promise << report.what << report.chain << report.story
               << report.state << report.seed << report.lives << report.frames << report.note;
        mPulse.result.set(fields.text());
        mPulse.found = report.found;
    }

    // --- In the parent ---

    ExerciseReport answered() const {
        ExerciseReport report;
        FieldReader fields(mPulse.result.get());
        fields >> report.found >> report.promise >> report.what >> report.chain >> report.story >>
            report.state >> report.seed >> report.lives >> report.frames >> report.note;
        return report;
    }
    // A life that did not get to its report.
    ExerciseReport ended(ChildEnd end, const Story& story) const {
        ExerciseReport report;
        const std::string where = withoutLoop(mPulse.loop.get());
        const std::string who = where.empty() ? "a call of the client's" : where;
        report.found = true;
        report.promise = end == ChildEnd::Hung ? "R-WAIT" : "R-ERROR";
        report.what = who + (end == ChildEnd::Hung ? " hangs" : " crashes");
        report.chain = chainText(story, namesOf(mStages));
        report.story = mPulse.story.get();
        report.state = mPulse.state.get();
        if (report.state == "\n") report.state.clear();
        report.seed = story.seed;
        report.lives = story.seed - mOptions.seed + 1;
        return report;
    }
    ExerciseReport failedAlone(ChildEnd end) const {
        ExerciseReport report = ended(end, {});
        for (const std::string& name : namesOf(mStages))
            report.chain += (report.chain.empty() ? "" : " ! ") + name;
        report.story = "the stages by themselves, one frame after the other";
        report.seed = mOptions.seed;
        report.lives = 0;
        return report;
    }
    ExerciseReport shrunkEnded(const ExerciseReport& report, const Story& story) {
        const auto end = [this](const Story& less, milliseconds patience, std::string (*state)()) {
            return inChild(patience, state, [&] {
                if (!mOptions.logs) __android_log_set_logger(keepQuiet);
                const Setting around = setting();
                mPulse.lives = true;
                live(around, less);
            });
        };
        const auto deadline = std::chrono::steady_clock::now() + kShrinkTime;
        const Story least = shrunk(story, [&](const Story& less) {
            return std::chrono::steady_clock::now() < deadline &&
                   end(less, kTryPatience, nullptr) != ChildEnd::Done;
        });
        const ChildEnd last = end(least, mOptions.deadline / 2, LivingChain::stateText);
        if (last == ChildEnd::Done) return report;
        ExerciseReport less = ended(last, least);
        less.lives = report.lives;
        return less;
    }

    const std::vector<StageSpec>& mStages;
    const ExerciseOptions& mOptions;
    Pulse& mPulse = sharedPulse();
};

}  // namespace

ExerciseReport exercise(const std::vector<StageSpec>& stages, const ExerciseOptions& options) {
    return Exercise(stages, options).run();
}

std::string toText(const ExerciseReport& report, const ExerciseOptions& options) {
    std::ostringstream text;
    if (!report.note.empty()) text << "note: " << report.note << "\n";
    if (!report.found) {
        text << report.lives << " lives from seed " << options.seed << ", " << report.frames
             << " frames, 0 findings\n";
        return text.str();
    }
    text << report.promise << " is broken: " << report.what << "\n";
    if (!report.chain.empty()) text << "chain: " << report.chain << "\n";
    text << "story: " << report.story << "\n";
    if (!report.state.empty()) text << report.state << (report.state.ends_with('\n') ? "" : "\n");
    if (report.lives == 0) {
        text << "found before the first life\n";
        return text.str();
    }
    text << "found in life " << report.lives << "; again with --seed " << report.seed
         << " --lives 1" << (options.threads ? " --threads" : "")
         << (options.faults ? " --faults" : "") << "\n";
    return text.str();
}

}  // namespace plexa::kit
