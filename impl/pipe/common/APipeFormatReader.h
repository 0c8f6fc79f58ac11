// Reads what an init message says about the source and the destination frames.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>

namespace android {

/// The formats "src" and "dst" of an init message. A client wrote them, so any part may be missing.
///
/// What is missing, and a size below 1, is named in the log.
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

    /// The colour formats, for a stage. False when one of them or a whole message is missing.
    bool readForStage(int32_t* srcColorFormat, int32_t* dstColorFormat) const;
    /// The colour formats, for an engine. BAD_VALUE when a message is missing, UNKNOWN_ERROR when
    /// a colour format is.
    status_t readForEngine(int32_t* srcColorFormat, int32_t* dstColorFormat) const;

    // The rest asks for a success of one of those.

    const sp<AMessage>& src() const { return mSrc; }
    const sp<AMessage>& dst() const { return mDst; }

    bool findSrcSize(Size* size) const { return findSize(mSrc, "src", size); }
    bool findDstSize(Size* size) const { return findSize(mDst, "dst", size); }

private:
    bool hasBoth() const { return mSrc != nullptr && mDst != nullptr; }
    bool findColorFormats(int32_t* src, int32_t* dst) const;
    bool findSize(const sp<AMessage>& format, const char* name, Size* size) const;
    bool findLength(const sp<AMessage>& format, const char* name, const char* key,
                    int32_t* length) const;
    void logError(const char* text) const;

    const char* const mTag;
    sp<AMessage> mSrc;
    sp<AMessage> mDst;
};

}  // namespace android
