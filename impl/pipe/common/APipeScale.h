// APipeScale: the stage that resizes frames.
#pragma once

#include <memory>

#include "APipe.h"
#include "APipeExport.h"
#include "AScaler.h"

namespace android {

/// Resizes each frame from the source's size to the destination's with the compute scaler, which
/// does not convert colours. A frame whose metadata says "eos" passes unscaled.
///
/// With a next stage, outputs come from a pool of the destination's colour format (setBufferInfo),
/// and the next stage is told the source's colour format with the destination's size. The compute
/// scaler takes graphics memory only, so before another stage choose a destination whose pool is
/// there: Nv12Ubwc or Tp10Ubwc.
///
/// Threading: as APipe.
class PLEXA_EXPORT APipeScale : public APipe {
public:
    APipeScale(const sp<APipe>& next, const sp<AMessage>& notify);

    /// Hands the format to the next stage; this one does not change. Always OK.
    status_t updateInputFormat(const sp<AMessage>& format) override;

protected:
    ~APipeScale() override;

    /// Needs "colorformat", "width" and "height" in both formats; without them, or without a pool
    /// or a scaler, the stage is in error.
    void onInit(const sp<AMessage>& msg) override;
    void onWork() override;
    void onRelease() override;

private:
    bool setUp(const sp<AMessage>& msg);

    std::shared_ptr<AScaler> mScaler;
};

}  // namespace android
