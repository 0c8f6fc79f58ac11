// OrderTree: which order of steps comes next, so that all that can differ are visited.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace plexa::kit {

// A process takes one step after the other: a loop, or the client with its one call. Its number is
// a bit in sets.
using Process = size_t;
using Processes = uint64_t;

constexpr Processes bitOf(Process process) {
    return Processes{1} << process;
}

// What a step touched, beside what is its process's own.
struct Step {
    Process process = 0;
    Processes posted = 0;  // whose queues got a message
    Processes raised = 0;  // whose generation or pause it set
    Processes pooled = 0;  // with whom it shares buffers that a flush has taken
    int cause = -1;        // the step that posted what this one took; -1: before all

    // Whether the two may differ by their order.
    bool dependsOn(const Step& other) const;
};

// Walks the tree of orders depth first. A run asks next() before each step, with those that can go,
// and tells took() what the step has touched; advance() leads to the next run.
// Threading: reentrant.
class OrderTree {
public:
    static constexpr Process kNobody = 63;

    // Who goes on, of at least one; kNobody if all that could follow has been visited.
    Process next(const std::vector<Process>& enabled);
    void took(const Step& step);
    // False when there is no other order.
    bool advance();

    const std::vector<Step>& steps() const { return mSteps; }

private:
    struct Node {
        Processes enabled = 0;
        Processes wanted = 0;            // to be visited from here
        std::map<Process, Step> asleep;  // visited from here, or what came after would be the same
        Process chosen = kNobody;
    };

    std::map<Process, Step> asleepAfter(const Node& node, const Step& step) const;
    void findRaces();
    void wantReversal(size_t early, size_t late);

    std::vector<Node> mNodes;
    std::vector<Step> mSteps;
    std::vector<std::vector<bool>> mBefore;  // mBefore[j][i]: step i happened before step j
};

}  // namespace plexa::kit
