// APipeDecompress: the stage that turns compressed frames into plain ones.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "APipe.h"
#include "APipeConverter.h"
#include "APipeExport.h"

namespace android {

/// Turns Nv12Ubwc into Nv12Venus and Tp10Ubwc into P010Venus at the same size, so that the stages
/// after it can read the pixels. A frame whose metadata says "eos" passes as it is.
///
/// With a next stage, outputs come from a pool of two graphics buffers of the source's size; the
/// next stage is told the plain format. Another source format is left to the converter, which
/// refuses it.
///
/// Threading: as APipe.
class PLEXA_EXPORT APipeDecompress : public APipe {
public:
    APipeDecompress(const sp<APipe>& next, const sp<AMessage>& notify);

    /// Hands a format whose "colorformat" is not this stage's to the next stage; this one does not
    /// change. OK; BAD_VALUE without "colorformat".
    status_t updateInputFormat(const sp<AMessage>& format) override;

protected:
    ~APipeDecompress() override;

    /// Needs "colorformat" in both formats, "width" and "height" in the source's; without them, or
    /// without a pool or a converter, the stage is in error.
    void onInit(const sp<AMessage>& msg) override;
    void onWork() override;

private:
    bool setUp(const sp<AMessage>& msg);

    std::shared_ptr<APipeConverter> mConverter;
    std::atomic<int32_t> mInputColorFormat = APipeBuffer::Unknown;  // read on clients' threads
};

}  // namespace android
