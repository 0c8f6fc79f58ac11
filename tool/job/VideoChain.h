// The client's side of a chain that a video goes through.
#pragma once

#include <kit/Frames.h>
#include <kit/StageSpec.h>
#include <media/stagefright/foundation/ALooper.h>

#include <string>
#include <vector>

#include "base/Status.h"
#include "job/NoticeHandler.h"

namespace plexa {

/**
 * The stages of a chain, each with a looper of its own, and the looper on which their notices
 * arrive. After stop(), which may be called in any state, start() may be called again for other
 * sizes: the same stages are released and take a new init.
 *
 * Threading: queueInput and queueOutput are thread-safe, the rest is reentrant.
 */
class VideoChain {
public:
    /** At least one stage; `traffic` is borrowed. */
    VideoChain(const std::vector<kit::StageSpec>& stages, FrameTraffic* traffic);
    ~VideoChain();
    VideoChain(const VideoChain&) = delete;
    VideoChain& operator=(const VideoChain&) = delete;

    /** Waits until the chain takes items. */
    Status start(const kit::FrameFormat& source, const kit::FrameFormat& destination);

    Status queueInput(const android::sp<android::APipeBuffer>& input);
    Status queueOutput(const android::sp<android::APipeBuffer>& output);

    /** Where every buffer is and what each stage waits for. Any thread, at any time. */
    std::string debugString() const { return mFirst->debugString(); }

    /** Releases the chain. Afterwards no stage touches a buffer. */
    void stop();

private:
    android::sp<android::ALooper> mLooper;
    android::sp<NoticeHandler> mHandler;
    android::sp<android::APipe> mFirst;
    bool mStarted = false;  // every stage takes items
};

}  // namespace plexa
