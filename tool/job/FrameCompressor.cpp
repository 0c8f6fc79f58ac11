// Delivers decoded frames as a device's decoder does: in compressed graphics buffers.
#include "job/FrameCompressor.h"

#include "base/Text.h"
#include "media/FrameBuffers.h"
#include "media/LibraryLog.h"
#include "media/PlanarFrame.h"

namespace plexa {

using android::AMessage;
using android::APipeBuffer;
using android::APipeConverter;
using android::sp;

Status FrameCompressor::open(int width, int height, int bitDepth) {
    mLinear = allocateLinear(bitDepth, width, height, 0);
    mConverter = APipeConverter::Create(APipeConverter::kTypeCL);
    sp<AMessage> formats = new AMessage();
    formats->setMessage("src", formatMessage(linearFormat(bitDepth), width, height));
    formats->setMessage("dst", formatMessage(compressedFormat(bitDepth), width, height));
    if (mLinear != nullptr && mConverter != nullptr && mConverter->init(formats) == android::OK) {
        return {};
    }
    return Status::error(
        withLibraryError(text("frames of %dx%d cannot be compressed", width, height)));
}

Status FrameCompressor::compress(const AVFrame& frame, const sp<APipeBuffer>& destination) {
    pack(frame, pixelsOf(mLinear));
    if (mConverter->convert(mLinear, destination) == android::OK) return {};
    return Status::error(withLibraryError("a frame could not be compressed"));
}

}  // namespace plexa
