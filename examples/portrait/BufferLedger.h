// BufferLedger: where the buffers of a client are.
#pragma once

#include <cstdint>
#include <cstdio>
#include <set>

namespace android {

/// Written at each queueing and each notice, it shows whether every buffer comes home exactly once.
///
/// Threading: reentrant.
class BufferLedger {
public:
    void queued(int32_t id) {
        ++mQueued;
        if (!mOut.insert(id).second) mSound = false;
    }
    void cameHome(int32_t id) {
        ++mReported;
        if (mOut.erase(id) == 0) mSound = false;
    }
    /// A flush or release has completed: what the stages still had is the client's again.
    void forgotten() {
        mForgotten += static_cast<int>(mOut.size());
        mOut.clear();
    }

    /// False if a buffer was queued or came home twice, or is still out.
    bool isSound() const { return mSound && mOut.empty(); }
    void print() const {
        printf("%d buffers queued = %d home in notices + %d with the flush + %zu missing\n",
               mQueued, mReported, mForgotten, mOut.size());
    }

private:
    std::set<int32_t> mOut;
    int mQueued = 0;
    int mReported = 0;
    int mForgotten = 0;
    bool mSound = true;
};

}  // namespace android
