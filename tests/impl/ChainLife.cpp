// A random chain from its init to its last trace.
#include "ChainLife.h"

#include <host/GraphicsCounts.h>
#include <host/LooperScheduler.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "ChainActor.h"
#include "support/Deadline.h"

namespace plexa {

using android::APipe;
using android::host::graphicsCounts;
using android::host::LooperScheduler;

namespace {

// In virtual time; a chain that never comes to rest is stopped, and tells by what it still owes.
void runToRest(LooperScheduler& scheduler) {
    for (int moves = 0; moves < 10'000; ++moves) {
        scheduler.runUntilIdle(10'000);
        if (!scheduler.advanceToNext()) return;
    }
}

void runABit(LooperScheduler& scheduler, uint32_t arg) {
    if (arg % 8 == 0) return runToRest(scheduler);
    for (uint32_t left = (arg >> 8U) % 16; left > 0; --left)
        if (!scheduler.runOne() && !scheduler.advanceToNext()) return;
}

void checkAllIsHome(ChainActor& chain, ChainWitness& witness, const char* when) {
    ChainClient& client = chain.client();
    if (client.isWaiting()) witness.complain(std::string("no completion notice ") + when);
    for (const auto role : {ChainClient::Input, ChainClient::SubInput, ChainClient::Output})
        if (client.away(role) != 0) witness.complain(std::string("a buffer is away ") + when);
}

void checkPools(const ChainActor& chain, ChainWitness& witness, const char* when) {
    for (const auto& stage : chain.stages()) {
        if (stage->countPoolBuffers() == stage->poolSize()) continue;
        witness.complain(std::string("a pool buffer is lost or doubled ") + when);
    }
}

// What has been queued has to come through, if nothing stood in its way.
void drain(ChainActor& chain, LooperScheduler& scheduler, ChainWitness& witness) {
    runToRest(scheduler);
    if (!chain.mustFlow()) return;
    for (int rounds = 0; rounds < 12; ++rounds) {
        chain.queueOutput(0);
        runToRest(scheduler);
    }
    if (!chain.mustFlow()) return;
    if (chain.client().away(ChainClient::Input) != 0) witness.complain("an input is stuck");
    if (chain.client().isWaiting()) witness.complain("a completion notice does not come");
    checkPools(chain, witness, "after a drain");
}

// After a release and a new init the chain is as new.
void startAfresh(ChainActor& chain, LooperScheduler& scheduler, ChainWitness& witness) {
    chain.calm();
    const size_t inits = chain.client().heard(APipe::kWhatInitCompleted);
    chain.init();
    runToRest(scheduler);
    if (chain.client().heard(APipe::kWhatInitCompleted) != inits + 1)
        return witness.complain("no new init after a release");
    checkPools(chain, witness, "after a new init");
    const uint64_t before = witness.frames;
    for (int frames = 0; frames < 3; ++frames) {
        chain.queueWholeFrame();
        runToRest(scheduler);
    }
    if (witness.frames != before + 3 * chain.stages().size())
        witness.complain("a fresh frame does not come through");
    chain.flush();
    runToRest(scheduler);
    checkAllIsHome(chain, witness, "after a flush");
    checkPools(chain, witness, "after a flush");
}

void endLife(const ChainPlan& plan, ChainActor& chain, LooperScheduler& scheduler,
             ChainWitness& witness) {
    if (plan.ending == Ending::Abandon) return;
    if (plan.ending == Ending::Drain) drain(chain, scheduler, witness);
    chain.release();
    runToRest(scheduler);
    checkAllIsHome(chain, witness, "after a release");
    if (plan.ending == Ending::Drain) startAfresh(chain, scheduler, witness);
}

void checkNothingIsLeft(ChainWitness& witness, const android::host::GraphicsCounts& before) {
    if (witness.stages != 0) witness.complain("a stage is left");
    if (witness.alive() != 0) witness.complain("a buffer is left");
    if (!(graphicsCounts() == before)) witness.complain("graphics memory is left");
}

size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

bool stageThreadsRun() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        if (name.starts_with("Model")) return true;
    }
    return false;
}

void runClients(ChainActor& chain, const ChainPlan& plan, size_t clients) {
    std::vector<std::thread> threads;
    for (size_t client = 0; client < clients; ++client) {
        threads.emplace_back([&, client] {
            for (size_t at = client; at < plan.ops.size(); at += clients) {
                chain.act(plan.ops[at]);
                if (plan.ops[at].act == Act::Run) std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

LifeReport liveOnScheduler(const ChainPlan& plan) {
    const auto witness = std::make_shared<ChainWitness>();
    const auto before = graphicsCounts();
    {
        std::optional<LooperScheduler> scheduler(std::in_place, plan.seed);
        ChainActor chain(plan, witness, true);
        chain.init();
        for (const Op& op : plan.ops) {
            chain.act(op);
            if (op.act == Act::Run) runABit(*scheduler, op.arg);
            if (!witness->complaint().empty()) break;
        }
        endLife(plan, chain, *scheduler, *witness);
        // The references may go before or after the loops have come to an end.
        if (plan.seed % 3 == 0) scheduler.reset();
        chain.dropStages(plan.seed % 2 == 0);
        if (scheduler && plan.seed % 3 == 1) runToRest(*scheduler);
    }
    checkNothingIsLeft(*witness, before);
    return {witness->complaint(), witness->frames};
}

LifeReport liveOnThreads(const ChainPlan& plan, int clients) {
    const auto witness = std::make_shared<ChainWitness>();
    const auto before = graphicsCounts();
    const size_t descriptors = openDescriptors();
    {
        ChainActor chain(plan, witness, clients == 1);
        chain.init();
        runClients(chain, plan, static_cast<size_t>(clients));
        if (plan.ending != Ending::Abandon) {
            chain.calm();
            chain.release();
            if (!eventually([&] { return !chain.client().isWaiting(); }))
                witness->complain("no completion notice after the last release");
            checkAllIsHome(chain, *witness, "after the last release");
        }
        chain.dropStages(plan.seed % 2 == 0);
        if (!eventually([&] { return witness->stages == 0; })) witness->complain("a stage is left");
    }
    if (!eventually([] { return !stageThreadsRun(); })) witness->complain("a thread is left");
    if (!eventually([&] { return openDescriptors() <= descriptors; }))
        witness->complain("a descriptor is left");
    if (!eventually([&] { return witness->alive() == 0; })) witness->complain("a buffer is left");
    checkNothingIsLeft(*witness, before);
    return {witness->complaint(), witness->frames};
}

}  // namespace plexa
