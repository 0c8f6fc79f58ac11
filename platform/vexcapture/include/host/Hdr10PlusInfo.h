// Hdr10PlusInfo: the "hdr10-plus-info" blob, what is known of the scene a frame belongs to.
#pragma once

#include <media/stagefright/foundation/ABuffer.h>
#include <utils/StrongPointer.h>

#include <array>
#include <optional>

namespace android::host {

// What tone mapping uses of SMPTE ST 2094-40 (HDR10+). All 0: not known.
//
// As a blob it is the payload of a registered ITU-T T.35 message from its country code on, as it
// stands in a stream's SEI message: 0xB5, 0x003C, 0x0001, 4, version, then bit fields. Blobs of
// real streams, with windows, percentiles and curves, are read as well as those written here.
//
// Threading: reentrant.
struct __attribute__((visibility("default"))) Hdr10PlusInfo {
    std::array<double, 3> maxScl = {};  // greatest R, G and B of the scene, linear, cd/m2

    // One window, everything else zero. Rounds to units of 0.1 cd/m2, at most 10000 cd/m2.
    sp<ABuffer> toBlob() const;

    // Empty, after an error in the log, for a null or short blob and for another kind of message.
    static std::optional<Hdr10PlusInfo> fromBlob(const sp<ABuffer>& blob);
};

}  // namespace android::host
