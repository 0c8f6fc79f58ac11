// The tree of orders against all interleavings of small random programs: each class of orders that
// cannot differ is visited, and none twice.
#include "OrderTree.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace plexa::kit {
namespace {

constexpr size_t kProcesses = 3;
constexpr uint64_t kPrograms = 300;

// The steps of each process, one after the other. What a step posts only conflicts; it wakes
// nobody.
using Program = std::vector<std::vector<Step>>;
// For each two steps that depend on each other, which came first.
using OrderClass = std::set<std::pair<size_t, size_t>>;

Program drawProgram(uint64_t seed) {
    std::mt19937_64 random(seed);
    Program program(kProcesses);
    for (Process process = 0; process < kProcesses; ++process) {
        for (uint64_t left = 1 + random() % 3; left > 0; --left) {
            Step step{.process = process};
            if (random() % 3 == 0) step.posted = bitOf(10 + random() % 2);
            if (random() % 6 == 0) step.raised = bitOf(random() % kProcesses);
            if (random() % 6 == 0) step.pooled = bitOf(random() % kProcesses);
            program[process].push_back(step);
        }
    }
    return program;
}

OrderClass classOf(const std::vector<Step>& steps) {
    std::vector<size_t> numbers, taken(kProcesses);
    for (const Step& step : steps)
        numbers.push_back(step.process * 10 + taken[step.process]++);
    OrderClass order;
    for (size_t late = 0; late < steps.size(); ++late)
        for (size_t early = 0; early < late; ++early)
            if (steps[early].dependsOn(steps[late])) order.emplace(numbers[early], numbers[late]);
    return order;
}

std::vector<Process> enabledIn(const Program& program, const std::vector<size_t>& at) {
    std::vector<Process> enabled;
    for (Process process = 0; process < kProcesses; ++process)
        if (at[process] < program[process].size()) enabled.push_back(process);
    return enabled;
}

void enumerate(const Program& program, std::vector<size_t> at, std::vector<Step> steps,
               std::set<OrderClass>* classes) {
    const auto enabled = enabledIn(program, at);
    if (enabled.empty()) classes->insert(classOf(steps));
    for (const Process process : enabled) {
        auto nextAt = at;
        auto nextSteps = steps;
        nextSteps.push_back(program[process][nextAt[process]++]);
        enumerate(program, nextAt, nextSteps, classes);
    }
}

TEST(OrderTreeTest, VisitsEachClassOfOrdersOnce) {
    for (uint64_t seed = 0; seed < kPrograms; ++seed) {
        const Program program = drawProgram(seed);
        std::set<OrderClass> all, visited;
        enumerate(program, std::vector<size_t>(kProcesses), {}, &all);
        OrderTree tree;
        do {
            std::vector<size_t> at(kProcesses);
            auto enabled = enabledIn(program, at);
            while (!enabled.empty()) {
                const Process process = tree.next(enabled);
                if (process == OrderTree::kNobody) break;
                tree.took(program[process][at[process]++]);
                enabled = enabledIn(program, at);
            }
            if (enabled.empty()) {
                EXPECT_TRUE(visited.insert(classOf(tree.steps())).second) << "twice, seed " << seed;
            }
        } while (tree.advance());
        EXPECT_EQ(visited, all) << "seed " << seed;
    }
}

}  // namespace
}  // namespace plexa::kit
