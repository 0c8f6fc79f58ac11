// The client's side of a chain that decompresses and scales.
#pragma once

#include <media/stagefright/foundation/ALooper.h>

#include "base/Status.h"
#include "job/NoticeHandler.h"

namespace plexa {

/**
 * A decompress stage and a scale stage, each with a looper of its own, and the looper on which
 * their notices arrive. stop() may be called in any state; the destructor calls it.
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

    ScaleChain() = default;
    ~ScaleChain() { stop(); }
    ScaleChain(const ScaleChain&) = delete;
    ScaleChain& operator=(const ScaleChain&) = delete;

    /** Builds the chain and waits until it takes items. `listener` is borrowed until stop(). */
    Status start(const Sizes& sizes, NoticeListener* listener);

    Status queueInput(const android::sp<android::APipeBuffer>& input);
    Status queueOutput(const android::sp<android::APipeBuffer>& output);

    /** Ends the chain. Afterwards no stage touches a buffer and the listener hears nothing. */
    void stop();

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
