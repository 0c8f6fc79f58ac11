// The interface through which a stage resizes frames, and the factory of its engines.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <memory>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

/// Resizes one frame into another, synchronously, on the caller's thread.
///
/// The order of calls is Create, init, scale once a frame, deinit, destruction. deinit may be
/// called at any time and more than once; after it, init makes the scaler usable again.
///
/// Threading: reentrant; a stage calls its scaler on its looper only.
class PLEXA_EXPORT AScaler {
public:
    enum ScalerType : int32_t {
        kTypeNone = 0,  ///< no scaler
        kTypeCL = 1,    ///< AScalerCL, the platform's compute library
    };

    /// Makes a scaler that has acquired nothing yet. The result is empty for kTypeNone, and for an
    /// unknown type after an error in the log.
    static std::shared_ptr<AScaler> Create(ScalerType type);

    virtual ~AScaler() = default;

    /// Prepares the scaler for frames of one source and one destination format. What an earlier
    /// init made is released first.
    ///
    /// msg holds the messages "src" and "dst", each with the int32 "colorformat" (an
    /// APipeBuffer::ColorFormat), "width" and "height" in pixels. Only read. OK, or a negative
    /// status after which scale must not be called.
    virtual status_t init(const sp<AMessage>& msg) = 0;

    /// Fills output with input at the destination's size. A failure concerns this frame only.
    virtual status_t scale(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) = 0;

    /// Releases all that init acquired.
    virtual void deinit() = 0;
};

}  // namespace android
