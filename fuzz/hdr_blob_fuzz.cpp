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

// The longest that is of use: the luminances of 31 by 31 parts of a display, and what is around.
constexpr size_t kLongestBlob = 640;

// Mostly with the start of an HDR10+ message, by which it is taken for one.
sp<android::ABuffer> takeHdr10Plus(FuzzedDataProvider& data) {
    constexpr uint8_t kStart[] = {0xb5, 0x00, 0x3c, 0x00, 0x01, 0x04};
    auto blob = plexa::takeBlob(data, kLongestBlob);
    if (blob->size() >= sizeof(kStart) && data.ConsumeIntegralInRange(0, 3) != 0)
        std::copy(std::begin(kStart), std::end(kStart), blob->data());
    return blob;
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
    const sp<android::ABuffer> blobs[] = {plexa::takeBlob(data), takeHdr10Plus(data)};
    for (const auto& blob : blobs) {
        readAndWrite<android::host::HdrStaticInfo>(blob);
        readAndWrite<android::host::Hdr10PlusInfo>(blob);
    }
    parameters->setBuffer("hdr-static-info", blobs[0]);
    parameters->setBuffer("hdr10-plus-info", blobs[1]);
    if (captures) capture(parameters);
    return 0;
}
