// Formats: which frames stages take, and what they make of them, found by trying.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kit/Frames.h"
#include "kit/StageSpec.h"

namespace plexa::kit {

/// A frame's way through stages, tried on a scheduler of its own.
struct Passage {
    FrameFormat gives;  ///< as the next stage's input is
    int32_t told = 0;   ///< the colour format that the next stage hears of at its init
};

/// Sends one frame of the format through the stages; nothing if they do not bring it to their end.
/// "dst" is of the same size, of the linear format that goes with the source's. No scheduler may
/// exist. Threading: reentrant, as all here.
std::optional<Passage> passageOf(const std::vector<StageSpec>& stages, const FrameFormat& takes);

/// The formats that stages are tried with, at this size.
std::vector<FrameFormat> knownFormats(int32_t width, int32_t height);

/// The linear format of the same samples: itself for one that is not compressed.
android::APipeBuffer::ColorFormat plainOf(android::APipeBuffer::ColorFormat color);

/// Whether frames of both have the same samples in the same planes, however long their rows.
bool haveSameSamples(android::APipeBuffer::ColorFormat one,
                     android::APipeBuffer::ColorFormat other);

/// Why a frame of the format does not come through, as in "decompress gives Nv12Venus 64x48 in
/// graphics memory; blur wants Yuv420p in local memory". Empty if it does.
std::string misfitOf(const std::vector<StageSpec>& stages, const FrameFormat& takes);

}  // namespace plexa::kit
