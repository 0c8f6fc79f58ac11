// A scaler that hands graphics buffers to the platform's compute library.
#pragma once

#include <cl/common/CLColorFormat.h>
#include <ui/GraphicBuffer.h>

#include "AScaler.h"

namespace android {

/// The compute library's code for a colour format that it scales, -1 for any other.
PLEXA_EXPORT cl::common::CLColorFormat getCLColorFormat(APipeBuffer::ColorFormat format);

/// AScaler over libvexcolor.so, which init loads by name. No pixel is touched here: each frame
/// crosses as a pair of graphics buffers.
///
/// The library stays mapped after deinit, so that code of it which still runs on a thread of its
/// own never loses its ground.
///
/// Threading: as AScaler.
class PLEXA_EXPORT AScalerCL : public AScaler {
public:
    AScalerCL() = default;
    ~AScalerCL() override;

    AScalerCL(const AScalerCL&) = delete;
    AScalerCL& operator=(const AScalerCL&) = delete;

    /// Loads the library and makes its scaler. The library is told the source's colour format for
    /// both sides: scaling does not convert. A different destination format is warned of in the
    /// log. OK; BAD_VALUE without "src" or "dst", or without a width or height of at least 1;
    /// UNKNOWN_ERROR without a colour format, library or entry point, or when the library refuses.
    status_t init(const sp<AMessage>& msg) override;

    /// OK when the library has filled output; UNKNOWN_ERROR when it refuses, before a successful
    /// init, or when a buffer is not in graphics memory.
    status_t scale(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) override;

    void deinit() override;

    /// The same as deinit.
    void clear();

private:
    using CreateEntry = void* (*)(int32_t kind, int64_t srcWidth, int64_t srcHeight,
                                  int64_t dstWidth, int64_t dstHeight, int32_t srcFormat,
                                  int32_t dstFormat);
    using ScaleEntry = bool (*)(void* scaler, const sp<GraphicBuffer>& input,
                                const sp<GraphicBuffer>& output);
    using DestroyEntry = void (*)(void* scaler);

    status_t load();

    void* mLibrary = nullptr;
    void* mScaler = nullptr;
    CreateEntry mCreate = nullptr;
    ScaleEntry mScale = nullptr;
    DestroyEntry mDestroy = nullptr;
};

}  // namespace android
