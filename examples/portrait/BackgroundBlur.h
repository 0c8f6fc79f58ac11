// BackgroundBlur: the pixel work of the portrait stage.
#pragma once

#include <APipeBuffer.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <vector>

#include "Picture.h"

namespace android {

/// Blurs frames of one size where a mask says so. Keeps the memory that it needs in between.
///
/// Threading: reentrant.
class BackgroundBlur {
public:
    /// In pixels, both even.
    BackgroundBlur(int32_t width, int32_t height) : mWidth(width), mHeight(height) {}

    /// Fills output with the frame, mixed with its blur by the luma of the mask. BAD_VALUE, after
    /// an error log, for a buffer of another format or size.
    status_t run(const sp<APipeBuffer>& frame, const sp<APipeBuffer>& mask, int32_t radius,
                 const sp<APipeBuffer>& output);

private:
    const int32_t mWidth;
    const int32_t mHeight;
    std::vector<uint8_t> mSmall;
    std::vector<uint8_t> mBlurred;
};

}  // namespace android
