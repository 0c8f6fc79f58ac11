// CLConverter: changes the layout of frames in graphics buffers.
#pragma once

#include <cl/common/CLColorFormat.h>
#include <cl/common/CLExport.h>
#include <ui/GraphicBuffer.h>

#include <cstdint>

namespace cl::converter {

// Converts frames of one size from one layout to another of the same bit depth: linear to
// compressed, compressed to linear, linear to linear. No sample changes, except that P010 to TP10
// drops the six low bits that P010 does not use. Bytes outside the picture are neither used nor
// written.
//
// Create, setup, then convert frame by frame, release, delete. Every refusal is an error log under
// the tag "CLConverter" and a result other than 1; the object stays usable.
//
// The virtual operations keep their order: clients built against another build of the library call
// them by slot.
//
// Threading: reentrant. The converter's own threads touch pixels only during convert.
class CL_EXPORT CLConverter {
public:
    // Null for a pair of formats that the library does not convert; otherwise the caller's to
    // delete, after a release.
    static CLConverter* Create(common::CLColorFormat src, common::CLColorFormat dst);

    virtual ~CLConverter();

    // Sizes in pixels, each side 1 to 16384, destination as large as the source; odd sizes round
    // chroma up. `mode` picks among a device's engines; the host has one and takes every value.
    // Replaces an earlier set-up. 1 on success.
    virtual int32_t setup(int64_t srcWidth, int64_t srcHeight, int64_t dstWidth, int64_t dstHeight,
                          int32_t mode) = 0;

    // Two different buffers of the formats and size that were set up. 1 when `output` holds the
    // frame; after a failure its pixels are undefined. Compressed input with damaged metadata is
    // a failure.
    virtual int32_t convert(const android::sp<android::GraphicBuffer>& input,
                            const android::sp<android::GraphicBuffer>& output) = 0;

    // Ends the converter's threads and takes the set-up back. May be called more than once.
    virtual void release() = 0;

    // How many threads a conversion may use:
    //   0  the caller's only
    //   1  normal, as without a hint: a quarter of the cores, at most 4, for the stages of a chain
    //      already run side by side; on up to 7 cores that is the caller's only
    //   2  every core
    // Frames below 2 MiB a thread use fewer, as waking threads would cost more than it brings.
    // Other values count as 1, with a warning. The result never depends on the hint.
    virtual void setPerfHint(int32_t hint) = 0;
};

}  // namespace cl::converter
