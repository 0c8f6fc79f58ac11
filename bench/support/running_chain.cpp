// Chains with the client that feeds them, as the benchmarks run them.
#include "support/running_chain.h"

#include <APipeDecompress.h>
#include <APipeScale.h>

#include <utility>

#include "support/pass_through.h"

namespace plexa::bench {

using namespace android;

struct RunningChain::Parts {
    sp<ChainClient> client;
    sp<APipe> chain;
    sp<AMessage> src;
    sp<AMessage> dst;
    Buffers inputs;
    Buffers outputs;
};

RunningChain RunningChain::passThrough(int stages, int inFlight) {
    constexpr Size kTiny = {16, 16};
    const auto client = ChainClient::create();
    const auto any = format(APipeBuffer::Nv12, kTiny);
    return RunningChain({client, passThroughChain(stages, client->notify()), any, any,
                         localBuffers(inFlight, kTiny), localBuffers(inFlight, kTiny)});
}

RunningChain RunningChain::decompressAndScale(const Depth& depth, Size from, Size to,
                                              int inFlight) {
    const auto client = ChainClient::create();
    const sp<APipe> scale = new APipeScale(nullptr, client->notify());
    const sp<APipe> decompress = new APipeDecompress(scale, client->notify());
    scale->setItemGenerator(new APipeItemGenerator("scale"));
    decompress->setItemGenerator(new APipeItemGenerator("decompress"));
    return RunningChain({client, decompress, format(depth.compressed, from),
                         format(depth.linear, to), compressedFrames(inFlight, from, depth),
                         linearBuffers(inFlight, to, depth)});
}

RunningChain::RunningChain(Parts parts)
    : mClient(parts.client),
      mStarted(mClient->start(parts.chain, parts.src, parts.dst, std::move(parts.inputs),
                              std::move(parts.outputs))) {}

RunningChain::~RunningChain() {
    mClient->stop();
}

void RunningChain::begin(int frames) {
    if (mStarted) mClient->begin(frames);
}

bool RunningChain::finish() {
    return mStarted && mClient->finish();
}

bool RunningChain::run(int frames) {
    begin(frames);
    return finish();
}

void RunningChain::listen(std::function<void()> heard) {
    if (mStarted) mClient->listen(std::move(heard));
}

void RunningChain::feed() {
    if (mStarted) mClient->feed();
}

}  // namespace plexa::bench
