// What is seen in a chain while it lives.
#include <kit/Witness.h>

#include <algorithm>

#include "Pulse.h"
#include "StageAccess.h"

namespace plexa::kit {

Pulse* Pulse::installed = nullptr;

void Witness::complain(const std::string& promise, const std::string& what) {
    const std::lock_guard lock(mLock);
    if (!mFinding) mFinding = {promise, what, LivingChain::stateText()};
}

std::optional<Finding> Witness::finding() const {
    const std::lock_guard lock(mLock);
    return mFinding;
}

void Witness::tell(const std::string& deed) {
    const std::lock_guard lock(mLock);
    if (mFinding) return;
    if (deed == mLastDeed) {
        ++mRepeats;
        return;
    }
    const std::string text = repeats() + (mStory.empty() ? "" : "; ") + deed;
    mStory += text;
    if (Pulse::installed != nullptr) Pulse::installed->story.append(text);
    mLastDeed = deed;
    mRepeats = 0;
}

std::string Witness::repeats() const {
    return mRepeats == 0 ? "" : " (" + std::to_string(mRepeats + 1) + " times)";
}

std::string Witness::story() const {
    const std::lock_guard lock(mLock);
    return mStory + repeats();
}

void Witness::watch(const android::sp<android::RefBase>& object) {
    const std::lock_guard lock(mLock);
    mWatched.push_back(object);
}

size_t Witness::alive() const {
    const std::lock_guard lock(mLock);
    return static_cast<size_t>(std::count_if(mWatched.begin(), mWatched.end(), [](const auto& one) {
        return one.promote() != nullptr;
    }));
}

}  // namespace plexa::kit
