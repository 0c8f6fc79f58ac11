// HdrStaticInfo: the "hdr-static-info" blob, what is known of a whole HDR stream.
#pragma once

#include <media/stagefright/foundation/ABuffer.h>
#include <utils/StrongPointer.h>

#include <array>
#include <optional>

namespace android::host {

// CIE 1931 xy coordinates.
struct Chromaticity {
    double x = 0;
    double y = 0;
};

// Mastering display (SMPTE ST 2086) and content light level of a stream. A field of 0 is not known.
//
// As a blob it is the static metadata descriptor of type 1 of CTA-861.3 in the form that media
// APIs pass it: 25 bytes, numbers 16 bits, unsigned, little endian.
//
//   byte 0      descriptor type, 0
//        1-12   display primaries: x and y of red, green and blue, in units of 0.00002
//       13-16   white point: x and y, in units of 0.00002
//       17      greatest luminance of the display, cd/m2
//       19      smallest luminance of the display, in units of 0.0001 cd/m2
//       21      greatest content light level (MaxCLL), cd/m2
//       23      greatest frame-average light level (MaxFALL), cd/m2
//
// Threading: reentrant.
struct __attribute__((visibility("default"))) HdrStaticInfo {
    std::array<Chromaticity, 3> primaries = {};  // red, green, blue
    Chromaticity whitePoint = {};
    double maxLuminance = 0;  // cd/m2, as the other three
    double minLuminance = 0;
    double maxContentLight = 0;
    double maxFrameAverageLight = 0;

    // Rounds to the blob's units; what they cannot hold becomes the nearest that they can.
    sp<ABuffer> toBlob() const;

    // Empty, after an error in the log, for a null or short blob and for another type.
    static std::optional<HdrStaticInfo> fromBlob(const sp<ABuffer>& blob);
};

}  // namespace android::host
