// The scaler's entry points, which clients look up by name in libvexcolor.so.
#pragma once

#include <cl/common/CLExport.h>
#include <ui/GraphicBuffer.h>

#include <cstdint>

// Scales linear frames in graphics buffers from one size to another, on the caller's thread only:
// the stages of a chain already run side by side. Planes are scaled about their centres, so that
// nothing shifts; the same size gives an exact copy, and 10-bit frames keep their six low bits
// zero.
//
// All depths and ratios have one filter. Growing interpolates between the two nearest samples.
// Shrinking weighs those within 3/4 of a new sample by a smooth curve; to the half, that is the
// mean of two by two.
//
// Every refusal is an error log under the tag "CLScaler" and leaves the scaler usable.
//
// Threading: reentrant.
extern "C" {

// `mode` is 1. Sizes in pixels, each side 1 to 16384; odd sizes round chroma up. Formats are codes
// of CLColorFormat, both linear and of one bit depth. Null for anything else, and without memory;
// otherwise the caller's to destroy.
CL_EXPORT void* createScaler(int32_t mode, int64_t srcWidth, int64_t srcHeight, int64_t dstWidth,
                             int64_t dstHeight, int32_t srcFormat, int32_t dstFormat);

// Two different buffers of the formats and sizes given at creation. True when `output` holds the
// scaled frame. Bytes outside the picture are neither used nor written.
CL_EXPORT bool scale(void* scaler, const android::sp<android::GraphicBuffer>& input,
                     const android::sp<android::GraphicBuffer>& output);

// Null is fine.
CL_EXPORT void destroyScaler(void* scaler);

}  // extern "C"
