// Chains with the client that feeds them, as the benchmarks run them.
#pragma once

#include <functional>

#include "support/chain_client.h"
#include "support/frames.h"

namespace plexa::bench {

/// Starts with the object and ends with it.
///
/// Threading: reentrant.
class RunningChain {
public:
    /// Stages whose engines do nothing, with so many frames in flight.
    static RunningChain passThrough(int stages, int inFlight);

    /// Real work, with so many frames in flight and pictures in them.
    static RunningChain decompressAndScale(const Depth& depth, Size from, Size to, int inFlight);

    ~RunningChain();

    RunningChain(const RunningChain&) = delete;
    RunningChain& operator=(const RunningChain&) = delete;

    /// As ChainClient's; false also when the chain did not start.
    void begin(int frames);
    bool finish();
    bool run(int frames);
    void listen(std::function<void()> heard);
    void feed();

private:
    struct Parts;
    explicit RunningChain(Parts parts);

    android::sp<ChainClient> mClient;
    bool mStarted;
};

}  // namespace plexa::bench
