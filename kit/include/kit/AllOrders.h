// AllOrders: a small life of a chain in every order in which its loops can take their messages.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "kit/StageSpec.h"

namespace plexa::kit {

/// What the client calls once, at every place among the messages.
enum class Call { Flush, Release, Pause };

const char* nameOf(Call call);

struct AllOrdersReport {
    bool found = false;      ///< a broken promise; then the next four tell of it
    std::string promise;     ///< its id in docs/reliability.md
    std::string what;        ///< how it was broken
    std::string order;       ///< who took a message, one after the other, and the call
    std::string state;       ///< what the chain said of itself at that moment
    uint64_t orders = 0;     ///< visited to their ends, no two of them alike
    uint64_t abandoned = 0;  ///< begun, and given up for being like one that was visited
};

/// Lets three frames go through the stages, and makes the call, in every order. Two steps that
/// touch nothing in common, be it a loop, the order of a queue, a generation or a pool after a
/// flush, can change places without a difference, and only one of such orders is visited: dynamic
/// partial-order reduction with sleep sets (P. Abdulla, S. Aronsson, S. Atig, B. Jonsson, K.
/// Sagonas, "Optimal Dynamic Partial Order Reduction", POPL 2014: the algorithm of its source
/// sets). Ends at the first finding; without one the visit is complete.
///
/// As exercise(), in a child process; a step that takes longer than `deadline` hangs.
AllOrdersReport visitAllOrders(const std::vector<StageSpec>& stages, Call call,
                               std::chrono::milliseconds deadline = std::chrono::seconds(2));

/// As lines for a terminal.
std::string toText(const AllOrdersReport& report, Call call);

}  // namespace plexa::kit
