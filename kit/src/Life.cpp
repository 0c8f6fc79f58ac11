// A random chain from its init to its last trace.
#include "Life.h"

#include <host/GraphicsCounts.h>
#include <kit/Deadline.h>
#include <kit/Scheduler.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Actor.h"
#include "Pulse.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::APipe;
using android::host::graphicsCounts;

namespace {

// In virtual time.
void runToRest(Actor& chain, Scheduler& scheduler, Witness& witness) {
    if (!scheduler.runToRest([&chain] { chain.checkLedgers(); }))
        witness.complain("R-WAIT", "the chain does not come to rest: its stages post for ever");
    chain.checkLedgerOfFrames();
}

void runABit(Actor& chain, Scheduler& scheduler, Witness& witness, uint32_t arg) {
    if (arg % 8 == 0) {
        witness.tell("run to rest");
        return runToRest(chain, scheduler, witness);
    }
    const uint32_t steps = (arg >> 8U) % 16;
    if (steps > 0) witness.tell("run " + std::to_string(steps));
    for (uint32_t left = steps; left > 0; --left) {
        if (!scheduler.step()) return;
        chain.checkLedgers();
    }
}

void checkAllIsHome(Actor& chain, Witness& witness, const std::string& when) {
    const Client& client = chain.client();
    if (client.isWaiting()) witness.complain("R-NOTICE", "no completion notice " + when);
    const std::string away = client.awayText();
    if (!away.empty()) witness.complain("R-HOME", away + " never came home, " + when);
}

void checkPools(const Actor& chain, Witness& witness, const std::string& when) {
    if (!chain.poolsAreWhole())
        witness.complain("R-POOL", "a pool buffer is lost or doubled " + when);
}

// What has been queued has to come through, if nothing stood in its way.
void drain(Actor& chain, Scheduler& scheduler, Witness& witness) {
    runToRest(chain, scheduler, witness);
    if (!chain.mustFlow()) return;
    for (int rounds = 0; rounds < 12; ++rounds) {
        chain.queueOutput(0);
        runToRest(chain, scheduler, witness);
    }
    if (!chain.mustFlow()) return;
    const std::string away = chain.client().awayText({Client::Input});
    if (!away.empty())
        witness.complain("R-HOME", away + " never came home, with enough outputs queued");
    if (chain.client().isWaiting()) witness.complain("R-NOTICE", "no completion notice");
    checkPools(chain, witness, "with nothing left to do");
}

// After a release and a new init the chain is as new.
void startAfresh(Actor& chain, Scheduler& scheduler, Witness& witness) {
    constexpr uint64_t kFrames = 3;
    chain.calm();
    const size_t inits = chain.client().heard(APipe::kWhatInitCompleted);
    chain.init();
    runToRest(chain, scheduler, witness);
    if (chain.client().heard(APipe::kWhatInitCompleted) != inits + 1)
        return witness.complain("R-AGAIN", "an init with nothing in its way was not completed");
    checkPools(chain, witness, "after a new init");
    const uint64_t before = witness.frames;
    for (uint64_t frames = 0; frames < kFrames; ++frames) {
        chain.queueWholeFrame();
        runToRest(chain, scheduler, witness);
    }
    if (witness.frames != before + kFrames) {
        const std::string away = chain.client().awayText({Client::Input});
        witness.complain(away.empty() ? "R-AGAIN" : "R-HOME",
                         away.empty()
                             ? "a fresh frame does not come through"
                             : away + " never came home, and a fresh frame does not come through");
    }
    chain.flush();
    runToRest(chain, scheduler, witness);
    checkAllIsHome(chain, witness, "after a flush");
    checkPools(chain, witness, "after a flush");
}

void endLife(const Story& story, Actor& chain, Scheduler& scheduler, Witness& witness) {
    if (story.ending == Ending::Abandon) return witness.tell("drop the chain");
    if (story.ending == Ending::Drain) drain(chain, scheduler, witness);
    chain.release();
    runToRest(chain, scheduler, witness);
    checkAllIsHome(chain, witness, "after a release");
    if (story.ending == Ending::Drain) startAfresh(chain, scheduler, witness);
    chain.client().checkHome();
}

void checkNothingIsLeft(Witness& witness, const android::host::GraphicsCounts& before) {
    if (witness.stages != 0) witness.complain("R-NOTHING", "a stage is left");
    if (witness.alive() != 0) witness.complain("R-NOTHING", "a buffer is left");
    if (!(graphicsCounts() == before)) witness.complain("R-NOTHING", "graphics memory is left");
}

LifeReport reportOf(const Witness& witness) {
    return {witness.finding(), witness.story(), witness.frames};
}

size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

bool threadsRun(const std::vector<std::string>& names) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        if (std::ranges::find(names, name) != names.end()) return true;
    }
    return false;
}

// Long enough for a few messages.
std::chrono::microseconds turnOf(const Op& op) {
    return std::chrono::microseconds((op.arg >> 8U) % 100);
}

void runClients(Actor& chain, const Story& story, size_t clients) {
    std::vector<std::thread> threads;
    for (size_t client = 0; client < clients; ++client) {
        threads.emplace_back([&, client] {
            for (size_t at = client; at < story.ops.size(); at += clients) {
                chain.act(story.ops[at]);
                if (story.ops[at].act == Act::Run)
                    std::this_thread::sleep_for(turnOf(story.ops[at]));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

LifeReport liveOnScheduler(const Setting& setting, const Story& story) {
    const auto witness = std::make_shared<Witness>();
    const auto before = graphicsCounts();
    {
        std::optional<Scheduler> scheduler(std::in_place, story.seed, story.order);
        Actor chain(setting, story, witness, true,
                    [&](Actor& self) { runToRest(self, *scheduler, *witness); });
        std::optional<LivingChain> living(std::in_place, chain.first());
        chain.init();
        for (const Op& op : story.ops) {
            Pulse::beat("");
            chain.act(op);
            if (op.act == Act::Run) runABit(chain, *scheduler, *witness, op.arg);
            if (witness->finding()) break;
        }
        endLife(story, chain, *scheduler, *witness);
        living.reset();
        // The references may go before or after the loops have come to an end.
        if (story.seed % 3 == 0) scheduler.reset();
        chain.dropStages(story.seed % 2 == 0);
        if (scheduler && story.seed % 3 == 1) runToRest(chain, *scheduler, *witness);
    }
    checkNothingIsLeft(*witness, before);
    return reportOf(*witness);
}

LifeReport liveOnThreads(const Setting& setting, const Story& story, int clients) {
    const auto witness = std::make_shared<Witness>();
    const auto before = graphicsCounts();
    const size_t descriptors = openDescriptors();
    std::vector<std::string> threads;
    {
        Actor chain(setting, story, witness, clients == 1, [](Actor& self) {
            [[maybe_unused]] const bool came =
                eventually([&] { return !self.client().isWaiting(); });
        });
        std::optional<LivingChain> living(std::in_place, chain.first());
        threads = chain.threadNames();
        chain.init();
        runClients(chain, story, static_cast<size_t>(clients));
        if (story.ending != Ending::Abandon) {
            chain.calm();
            chain.release();
            if (!eventually([&] { return !chain.client().isWaiting(); }))
                witness->complain("R-NOTICE", "no completion notice after the last release");
            checkAllIsHome(chain, *witness, "after the last release");
        }
        living.reset();
        chain.dropStages(story.seed % 2 == 0);
        if (!eventually([&] { return witness->stages == 0; }))
            witness->complain("R-NOTHING", "a stage is left");
    }
    if (!eventually([&] { return !threadsRun(threads); }))
        witness->complain("R-NOTHING", "a thread is left");
    if (!eventually([&] { return openDescriptors() <= descriptors; }))
        witness->complain("R-NOTHING", "a descriptor is left");
    if (!eventually([&] { return witness->alive() == 0; }))
        witness->complain("R-NOTHING", "a buffer is left");
    checkNothingIsLeft(*witness, before);
    return reportOf(*witness);
}

}  // namespace plexa::kit
