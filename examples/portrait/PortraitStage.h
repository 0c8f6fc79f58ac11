// PortraitStage: a stage of one's own, which blurs what is behind a person.
#pragma once

#include <APipe.h>

#include <cstdint>
#include <memory>
#include <string>

#include "BackgroundBlur.h"

namespace android {

/// Needs four things for one frame, queued in any order: the frame (input), a mask of the same
/// "timeUs" (sub input), metadata of that time (blurMeta) and an output. A frame whose mask or
/// metadata does not come is given up with a warning and goes home unused, as soon as newer ones
/// have come.
///
/// All buffers are Yuv420p of the source's size, both sides even. In a mask only luma counts: 255
/// keeps the frame as it is, 0 shows the blur. Nothing is kept from one frame to the next, so a
/// flush needs nothing of its own.
///
/// Threading: as APipe.
class PortraitStage : public APipe {
public:
    PortraitStage(const sp<APipe>& next, const sp<AMessage>& notify);

    /// What to give to queueItemMeta for the frame of timeUs, in microseconds.
    /// @param radius how far the blur reaches, in pixels; 0 leaves the frame sharp.
    static sp<AMessage> blurMeta(int64_t timeUs, int32_t radius);

protected:
    void onInit(const sp<AMessage>& msg) override;
    void onWork() override;
    void onRelease() override;

private:
    status_t setUp(const sp<AMessage>& msg);
    status_t blur(const APipeItem& item);

    std::unique_ptr<BackgroundBlur> mBlur;
};

}  // namespace android
