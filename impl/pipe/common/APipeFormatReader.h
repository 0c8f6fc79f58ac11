// Reads what an init message says about the source and the destination frames.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/StrongPointer.h>

#include <cstdint>

namespace android {

/// The formats "src" and "dst" of an init message. A client wrote them, so any part may be missing.
///
/// A size that is missing or below 1 is named in the log; for the other findings each caller has a
/// log line of its own.
///
/// For the sources of this library only: it is not exported.
///
/// Threading: reentrant. The messages are only read.
class APipeFormatReader {
public:
    struct Size {
        int32_t width = 0;   ///< in pixels
        int32_t height = 0;  ///< in pixels
    };

    /// Faults are logged under tag, which must outlive the reader.
    APipeFormatReader(const char* tag, const sp<AMessage>& msg);

    bool hasBoth() const { return mSrc != nullptr && mDst != nullptr; }

    /// The messages themselves, null where missing.
    const sp<AMessage>& src() const { return mSrc; }
    const sp<AMessage>& dst() const { return mDst; }

    // The rest asks for hasBoth().

    bool findColorFormats(int32_t* src, int32_t* dst) const;
    bool findSrcSize(Size* size) const { return findSize(mSrc, "src", size); }
    bool findDstSize(Size* size) const { return findSize(mDst, "dst", size); }

private:
    bool findSize(const sp<AMessage>& format, const char* name, Size* size) const;
    bool findLength(const sp<AMessage>& format, const char* name, const char* key,
                    int32_t* length) const;

    const char* const mTag;
    sp<AMessage> mSrc;
    sp<AMessage> mDst;
};

}  // namespace android
