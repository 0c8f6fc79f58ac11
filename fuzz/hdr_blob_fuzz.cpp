// The HDR blobs of a frame: reading them, writing them back, and a capture that uses them.
#include <ZelFrameCaptureLayer.h>
#include <hardware/gralloc.h>
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>
#include <system/graphics.h>
#include <ui/GraphicBuffer.h>

#include <cstdlib>

#include "fuzz_messages.h"

using android::AMessage;
using android::GraphicBuffer;
using android::Rect;
using android::sp;
using android::ZelFrameCaptureLayer;
using android::hardware::graphics::common::V1_2::PixelFormat;

namespace {

constexpr int kSide = 8;

sp<GraphicBuffer> newFrame(int32_t format) {
    constexpr uint64_t kUsage = GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN;
    return new GraphicBuffer(kSide, kSide, format, 1, kUsage, "fuzz");
}

// What has been read can be written, and reads as the same again.
template <typename Info>
void readAndWrite(const sp<android::ABuffer>& blob) {
    const auto info = Info::fromBlob(blob);
    if (info && !Info::fromBlob(info->toBlob())) std::abort();
}

void capture(const sp<AMessage>& parameters) {
    static const sp<GraphicBuffer> source = newFrame(HAL_PIXEL_FORMAT_YCBCR_P010);
    static const sp<GraphicBuffer> picture = newFrame(HAL_PIXEL_FORMAT_RGBA_8888);
    const sp<ZelFrameCaptureLayer> layer = new ZelFrameCaptureLayer;
    layer->init(1, ZelFrameCaptureLayer::kCaptureStill);
    layer->capture(source, Rect(0, 0, kSide - 1, kSide - 1), parameters, PixelFormat::RGBA_8888,
                   kSide, kSide, picture);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    plexa::silenceLog();
    FuzzedDataProvider data(bytes, size);
    const bool captures = data.ConsumeIntegralInRange(0, 15) == 0;
    const sp<AMessage> parameters = new AMessage;
    // Mostly BT.2020 with PQ, where the blobs are of use.
    parameters->setInt32("android._dataspace",
                         data.ConsumeBool() ? 0x9c60000 : data.ConsumeIntegral<int32_t>());
    const sp<android::ABuffer> blobs[] = {plexa::takeBlob(data), plexa::takeBlob(data)};
    for (const auto& blob : blobs) {
        readAndWrite<android::host::HdrStaticInfo>(blob);
        readAndWrite<android::host::Hdr10PlusInfo>(blob);
    }
    parameters->setBuffer("hdr-static-info", blobs[0]);
    parameters->setBuffer("hdr10-plus-info", blobs[1]);
    if (captures) capture(parameters);
    return 0;
}
