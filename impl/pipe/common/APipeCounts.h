// APipeCounts: what has become of the buffers that a stage took.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "APipeExport.h"

namespace android {

/// What has become of every buffer that a stage took: queued into it, by a client or by the stage
/// before it, or lent by its pool to its generator. A buffer that comes again counts again. At
/// every moment
///
///     taken = sentOn + sentHome + givenUp + stale + failed + forgotten + held
///
/// Threading: reentrant; a plain value.
struct PLEXA_EXPORT APipeCounts {
    /// Why a stage refused an item. A refused item is not taken.
    enum Refusal : size_t {
        kBeforeInit,    ///< the stage's onInit has not succeeded yet
        kInError,       ///< the stage is in error
        kWithoutLoop,   ///< never initialised, or released
        kRefusalCount,  ///< how many reasons there are
    };

    int64_t taken = 0;      ///< arrived on the stage's loop
    int64_t sentOn = 0;     ///< to the next stage, or with a frame to the client
    int64_t sentHome = 0;   ///< an input that is done with, or an output without a frame
    int64_t givenUp = 0;    ///< by the generator, which logs why; sent home
    int64_t stale = 0;      ///< queued before a flush and arrived after it
    int64_t failed = 0;     ///< part of an item on which the work failed, and still there
    int64_t forgotten = 0;  ///< held when a flush or release came
    int64_t held = 0;       ///< in the stage now

    /// Of those held, what is in none of the stage's lists: the stage's own code has taken it out
    /// of mWorkItems. Below 0 when a buffer is in the lists twice. Not part of the sum.
    int64_t kept = 0;
    int64_t worked = 0;  ///< items that onWork was called for; not part of the sum
    /// Items, not buffers; not part of the sum.
    std::array<int64_t, kRefusalCount> refused{};

    /// What was counted since `before`, which is an earlier value of these counts; held as it is.
    APipeCounts since(const APipeCounts& before) const;

    /// One line that names every count that is not 0: "taken 19 = sent on 2 + held 3 + forgotten
    /// by a flush 14".
    std::string toString() const;
};

}  // namespace android
