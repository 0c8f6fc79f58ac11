// A life: builds a story's chain, does what the story says, ends it, and tells what went wrong.
#pragma once

#include <kit/Witness.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Setting.h"
#include "Story.h"

namespace plexa::kit {

struct LifeReport {
    std::optional<Finding> finding;
    std::string story;  // what the client did, up to the finding
    uint64_t frames = 0;
};

// One message at a time, in the order that the story's seed draws, in virtual time.
LifeReport liveOnScheduler(const Setting& setting, const Story& story);

// On the loopers' own threads; the ops are dealt out to this many client threads.
LifeReport liveOnThreads(const Setting& setting, const Story& story, int clients);

// The least that still fails: takes out runs of ops, ever shorter ones, and neighbours, and makes
// those that are left plain. `fails` lives a story.
Story shrunk(Story story, const std::function<bool(const Story&)>& fails);

}  // namespace plexa::kit
