// PortraitClient: feeds the portrait stage with a clip that has lost some of its parts.
#pragma once

#include <APipe.h>

#include <cstdint>
#include <functional>
#include <future>
#include <random>
#include <vector>

#include "BufferLedger.h"
#include "Picture.h"

namespace android {

/// Queues a frame, a mask and metadata for each time of a clip, except those that are lost, in an
/// order that a seed draws. Each kind comes in the order of its times, as from a source of its own,
/// but a frame may come long before or after its mask and its metadata.
///
/// Make it, register it with a looper, build the stage with notify(), and run() that.
///
/// Threading: loop-bound, but for what says otherwise.
class PortraitClient : public AHandler {
public:
    struct Clip {
        int frames = 24;
        int width = 320;       ///< in pixels, even
        int height = 180;      ///< in pixels, even
        int lossPercent = 12;  ///< of the masks, and of the metadata
        unsigned seed = 1;
        /// Called with each frame that is ready, on the client's looper.
        std::function<void(int frame, const Picture& picture)> show;
    };

    explicit PortraitClient(const Clip& clip);

    sp<AMessage> notify() { return new AMessage(0, this); }

    /// Sends the clip through the stage and releases it; false after an error, or if that takes a
    /// minute. Once, on another thread than the looper's.
    bool run(const sp<APipe>& stage);

    /// Prints what became of the frames and the buffers; false if that does not add up. After run.
    bool report() const;

    /// The frames that were not shown. After run.
    std::vector<int> lostFrames() const;
    Picture frame(int frame) const {
        return Picture::of(mFrames[static_cast<size_t>(frame)].input);
    }

protected:
    void onMessageReceived(const sp<AMessage>& msg) override;

private:
    struct Frame {
        sp<APipeBuffer> input;
        sp<APipeBuffer> mask;  // null if lost
        sp<AMessage> meta;     // null if lost
        bool shown = false;
    };

    Frame makeFrame(int frame);
    bool isLost();
    void queueClip();
    void queue(const sp<APipeBuffer>& buffer, sp<APipeBuffer> APipeItem::*role);
    void onInputDone(int32_t id);
    void onOutputDone(int32_t id, int64_t timeUs);

    const Clip mClip;
    std::mt19937 mRandom;
    std::vector<Frame> mFrames;
    std::vector<sp<APipeBuffer>> mOutputs;
    sp<APipe> mStage;
    BufferLedger mLedger;
    int mFramesHome = 0;
    bool mFailed = false;
    std::promise<bool> mEnded;
};

}  // namespace android
