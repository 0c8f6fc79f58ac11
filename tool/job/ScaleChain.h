// The client's side of a chain that decompresses and scales.
#pragma once

#include <media/stagefright/foundation/ALooper.h>

#include <string>

#include "base/Status.h"
#include "job/NoticeHandler.h"

namespace plexa {

/**
 * A decompress stage and a scale stage, each with a looper of its own, and the looper on which
 * their notices arrive. After stop(), which may be called in any state, start() may be called again
 * for other sizes: the same stages are released and take a new init.
 *
 * Threading: queueInput and queueOutput are thread-safe, the rest is reentrant.
 */
class ScaleChain {
public:
    /** What goes through the chain: sizes in pixels, and 8 or 10 bits. */
    struct Sizes {
        int sourceWidth;
        int sourceHeight;
        int width;
        int height;
        int bitDepth;
    };

    /** `traffic` is borrowed. */
    explicit ScaleChain(FrameTraffic* traffic);
    ~ScaleChain();
    ScaleChain(const ScaleChain&) = delete;
    ScaleChain& operator=(const ScaleChain&) = delete;

    /** Waits until the chain takes items. */
    Status start(const Sizes& sizes);

    Status queueInput(const android::sp<android::APipeBuffer>& input);
    Status queueOutput(const android::sp<android::APipeBuffer>& output);

    /** Releases the chain. Afterwards no stage touches a buffer. */
    void stop();

    /** Where every buffer is and what each stage waits for. Any thread, at any time. */
    std::string debugString() const { return mFirst->debugString(); }

    /** The names under which the stages trace their work, in the order of the chain. */
    static constexpr const char* kStageNames[] = {"APipeDecompress", "APipeScale"};

private:
    android::sp<android::ALooper> mLooper;
    android::sp<NoticeHandler> mHandler;
    android::sp<android::APipe> mFirst;
    android::sp<android::APipe> mLast;
    bool mStarted = false;  // every stage takes items
};

}  // namespace plexa
