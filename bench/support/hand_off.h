// Baselines: what it costs to pass an item between two threads with nothing around it.
#pragma once

namespace plexa::bench {

/// So many items through a queue under a mutex and a condition, from one thread to another.
void passThroughQueue(int items);

/// So many one-way hand-offs between two threads that sleep on a futex in turn.
void pingPong(int handOffs);

}  // namespace plexa::bench
