// Counts the heap calls of a whole program: linking heap_counter.cpp into it replaces malloc and
// its kin, which operator new and the host's libraries call too.
#pragma once

#include <cstdint>

namespace plexa::bench {

/// Blocks that all threads have asked the heap for since the program began; growing one is asking.
/// Threading: thread-safe.
uint64_t heapCalls();

/// Has so many of the next heap calls print the addresses that they came by to the standard error.
void traceHeapCalls(int calls);

}  // namespace plexa::bench
