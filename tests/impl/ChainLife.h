// Runs a plan: builds the chain, does what the plan says, ends it, and tells what went wrong.
#pragma once

#include <cstdint>
#include <string>

#include "ChainPlan.h"

namespace plexa {

struct LifeReport {
    std::string complaint;  // empty when every promise was kept
    uint64_t frames = 0;    // that engines filled
};

// One message at a time, in the order that the plan's seed draws, in virtual time.
LifeReport liveOnScheduler(const ChainPlan& plan);

// On the loopers' own threads; the ops are dealt out to this many client threads.
LifeReport liveOnThreads(const ChainPlan& plan, int clients);

}  // namespace plexa
