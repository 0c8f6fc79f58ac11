// The interface through which a stage converts frames, and the factory of its engines.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <memory>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

/// Converts one whole frame into another, synchronously, on the caller's thread.
///
/// The order of calls is Create, setColorSpace where wanted, init, setPerfHint where wanted,
/// convert once a frame, reset, destruction. After reset only a new init makes the converter usable
/// again.
///
/// Threading: reentrant; a stage calls its converter on its looper only.
class PLEXA_EXPORT APipeConverter {
public:
    enum ConverterType : int32_t {
        kTypeNone = 0,  ///< no converter
        kTypeCL = 1,    ///< APipeCLConverter, the platform's compute library
        kTypeGL = 2,    ///< the GPU shader converter
        kTypeRE = 3,    ///< the frame-capture converter
    };

    /// How hard an engine works. The values are the compute library's.
    enum PerfHint : int32_t {
        kPerfHintLow = 0,
        kPerfHintNormal = 1,  ///< what an engine starts with
        kPerfHintHigh = 2,
    };

    /// Makes a converter that has acquired nothing yet. The result is empty for kTypeNone, and
    /// after an error in the log for an unknown type.
    static std::shared_ptr<APipeConverter> Create(ConverterType type);

    virtual ~APipeConverter() = default;

    /// Prepares the converter. What an earlier init made is released first.
    ///
    /// msg holds the messages "src" and "dst"; each engine says which of their keys it reads. OK,
    /// or a negative status after which convert must not be called.
    virtual status_t init(const sp<AMessage>& msg) = 0;

    /// Fills output with input in the destination's format. A failure concerns this frame only.
    virtual status_t convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) = 0;

    /// Chooses a colour space, before init. Engines that know no colour spaces do nothing.
    virtual void setColorSpace(int colorSpace);

    /// Releases all that init acquired.
    virtual void reset() = 0;

    /// Asks for more or less speed, after init. Engines without such a choice do nothing.
    virtual void setPerfHint(PerfHint hint);
};

}  // namespace android
