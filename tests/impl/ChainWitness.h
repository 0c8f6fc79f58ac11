// What is seen in a chain while it lives: broken promises, frames worked on, objects still alive.
#pragma once

#include <APipeBuffer.h>
#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace plexa {

// What every byte of a frame says after `depth` stages: eight of them make one word.
inline uint64_t stampOf(int64_t timeUs, int depth) {
    uint64_t word = static_cast<uint64_t>(timeUs) * 8 + static_cast<uint64_t>(depth) + 1;
    word = (word ^ (word >> 31U)) * 0x9E3779B97F4A7C15U;
    return (word ^ (word >> 29U)) * 0xBF58476D1CE4E5B9U;
}

// The pixels of a buffer that is not compressed, its first plane where it lies in graphics memory.
void fillFrame(const android::sp<android::APipeBuffer>& buffer, uint64_t stamp);
bool frameHas(const android::sp<android::APipeBuffer>& buffer, uint64_t stamp);

// Outlives the chain that it looks at.
// Threading: thread-safe.
class ChainWitness {
public:
    // Keeps the first complaint.
    void complain(const std::string& what) {
        const std::lock_guard lock(mLock);
        if (mComplaint.empty()) mComplaint = what;
    }
    std::string complaint() const {
        const std::lock_guard lock(mLock);
        return mComplaint;
    }
    void watch(const android::sp<android::RefBase>& object) {
        const std::lock_guard lock(mLock);
        mWatched.push_back(object);
    }
    // How many of the watched objects are alive.
    size_t alive() const;

    std::atomic<uint64_t> frames = 0;  // filled by an engine
    std::atomic<int> stages = 0;       // not destroyed yet

private:
    mutable std::mutex mLock;
    std::string mComplaint;
    std::vector<android::wp<android::RefBase>> mWatched;
};

}  // namespace plexa
