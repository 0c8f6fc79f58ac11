// Witness: what is seen in a chain while it lives: broken promises, its story, objects still alive.
#pragma once

#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace plexa::kit {

/// A promise that was broken.
struct Finding {
    std::string promise;  ///< its id in docs/reliability.md
    std::string what;
    std::string state;  ///< what the chain said of itself then (APipe::debugString)
};

/// Outlives the chain that it looks at.
///
/// Threading: thread-safe.
class Witness {
public:
    /// Keeps the first complaint.
    void complain(const std::string& promise, const std::string& what);
    std::optional<Finding> finding() const;

    /// What the client does, in a few words; after a finding nothing more is kept.
    void tell(const std::string& deed);
    /// All that was told, "; " in between.
    std::string story() const;

    /// An object that nobody may hold at the end.
    void watch(const android::sp<android::RefBase>& object);
    /// How many of the watched objects are alive.
    size_t alive() const;

    std::atomic<uint64_t> frames = 0;  ///< that came out at the end of the chain
    std::atomic<int> stages = 0;       ///< neighbours that are not destroyed yet

private:
    std::string repeats() const;

    mutable std::mutex mLock;  // guards all below
    std::optional<Finding> mFinding;
    std::string mStory;
    std::string mLastDeed;
    int mRepeats = 0;
    std::vector<android::wp<android::RefBase>> mWatched;
};

}  // namespace plexa::kit
