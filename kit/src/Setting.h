// Setting: what is around the lives of one chain: the stages to prove, and what they do to frames.
#pragma once

#include <APipeItemGenerator.h>
#include <kit/Frames.h>
#include <kit/StageSpec.h>
#include "Story.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plexa::kit {

android::sp<android::APipeItemGenerator> newGenerator(Generator generator);
// Whether its generator gives frames in the order of their queueing.
bool keepsOrder(const android::sp<android::APipe>& stage);

// The metadata of a frame, for a stage that pairs it, and the frame whose it is.
android::sp<android::AMessage> metaOfFrame(int64_t frame);
int64_t frameOfMeta(const android::sp<android::AMessage>& meta);

// With a picture that is no frame's.
void paintOver(const android::sp<android::APipeBuffer>& buffer);

// Made once for many lives.
// Threading: reentrant; only read by lives.
struct Setting {
    std::vector<StageSpec> given;
    FrameFormat takes;              // what the given stages are fed with
    FrameFormat gives;              // and what comes out behind them
    std::vector<int> pools;         // the given stages' buffers, where another stage follows
    std::vector<uint64_t> digests;  // of what each frame becomes; empty where that varies

    // Neighbours only.
    static Setting ofNeighbours();
    // Tries the stages by themselves; `given` is empty if they take no format that is known.
    static Setting around(const std::vector<StageSpec>& given);

    Cast cast(bool systemFaults) const;
    // Whether a buffer shows that frame before the given stages, or behind them.
    bool isRight(const android::sp<android::APipeBuffer>& buffer, int64_t frame, bool behind) const;
};

// What a pool is to be asked for (APipe::setBufferInfo) so that its buffers have this format;
// nothing if no pool has it.
std::optional<int32_t> poolColorFor(const FrameFormat& format);

}  // namespace plexa::kit
