// A converter that hands graphics buffers to the platform's compute library.
#pragma once

#include <cl/common/CLColorFormat.h>
#include <cl/converter/CLConverter.h>

#include <memory>

#include "APipeConverter.h"

namespace android {

/// The compute library's code for a colour format that it converts. A format without a code of its
/// own counts as Nv12Venus.
PLEXA_EXPORT cl::common::CLColorFormat getConverterColorFormat(APipeBuffer::ColorFormat format);

/// APipeConverter over libvexcolor.so: another colour format, the same size. The destination is one
/// of Nv12Venus, Nv12Ubwc, Tp10Ubwc and P010Venus. No pixel is touched here: each frame crosses as
/// a pair of graphics buffers.
///
/// Threading: as APipeConverter.
class PLEXA_EXPORT APipeCLConverter : public APipeConverter {
public:
    APipeCLConverter() = default;
    ~APipeCLConverter() override;

    APipeCLConverter(const APipeCLConverter&) = delete;
    APipeCLConverter& operator=(const APipeCLConverter&) = delete;

    /// Makes and sets up the library's converter. Of "src" it reads "colorformat", "width" and
    /// "height", of "dst" only "colorformat": the output has the source's size. OK; BAD_VALUE
    /// without "src" or "dst", or without a width or height of at least 1; UNKNOWN_ERROR without a
    /// colour format, for another destination format, or when the library refuses.
    status_t init(const sp<AMessage>& msg) override;

    /// OK when the library has filled output; UNKNOWN_ERROR when it refuses, before a successful
    /// init, or when a buffer is not in graphics memory.
    status_t convert(const sp<APipeBuffer>& input, const sp<APipeBuffer>& output) override;

    void reset() override;

    /// The same as reset.
    void clear();

    /// Passes the hint to the library when it differs from the one asked for last, which outlives
    /// reset. An unknown hint counts as normal. Before a successful init an error in the log is
    /// all.
    void setPerfHint(PerfHint hint) override;

private:
    std::unique_ptr<cl::converter::CLConverter> mConverter;
    PerfHint mPerfHint = kPerfHintNormal;
};

}  // namespace android
