// ChildProcess: does something in a process of its own, which may hang or crash.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "Pulse.h"

namespace plexa::kit {

enum class ChildEnd { Done, Hung, Crashed };

// Runs `work` in a copy of this process, which has one thread, and watches it: a pulse that does
// not beat for as long as `patience` ends it. Before that it is asked for its state by a signal,
// and `state` answers into the pulse as well as it can.
ChildEnd runInChild(Pulse& pulse, std::chrono::milliseconds patience,
                    const std::function<void()>& work, std::string (*state)());

// The memory that parent and child share.
Pulse& sharedPulse();

}  // namespace plexa::kit
