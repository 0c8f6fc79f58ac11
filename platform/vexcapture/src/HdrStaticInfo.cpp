// The static HDR blob, written and read.
#define LOG_TAG "HdrStaticInfo"

#include "host/HdrStaticInfo.h"

#include <utils/Log.h>

#include <cstddef>
#include <cstdint>

#include "BitStream.h"

namespace android::host {
namespace {

constexpr size_t kBytes = 25;
constexpr uint8_t kType1 = 0;
constexpr double kChromaticityUnit = 0.00002;
constexpr double kMinLuminanceUnit = 0.0001;

// Calls `visit(field, unit)` for each number in the order of the blob.
template <typename Info, typename Visitor>
void forEachField(Info& info, Visitor visit) {
    for (auto& primary : info.primaries) {
        visit(primary.x, kChromaticityUnit);
        visit(primary.y, kChromaticityUnit);
    }
    visit(info.whitePoint.x, kChromaticityUnit);
    visit(info.whitePoint.y, kChromaticityUnit);
    visit(info.maxLuminance, 1.0);
    visit(info.minLuminance, kMinLuminanceUnit);
    visit(info.maxContentLight, 1.0);
    visit(info.maxFrameAverageLight, 1.0);
}

}  // namespace

sp<ABuffer> HdrStaticInfo::toBlob() const {
    sp<ABuffer> blob = sp<ABuffer>::make(kBytes);
    uint8_t* next = blob->data();
    *next++ = kType1;
    forEachField(*this, [&next](double value, double unit) {
        const uint32_t number = capture::fieldOf(value, unit, UINT16_MAX);
        *next++ = static_cast<uint8_t>(number & 0xFF);
        *next++ = static_cast<uint8_t>(number >> 8);
    });
    return blob;
}

std::optional<HdrStaticInfo> HdrStaticInfo::fromBlob(const sp<ABuffer>& blob) {
    const size_t size = blob != nullptr ? blob->size() : 0;
    if (size < kBytes) {
        ALOGE("hdr-static-info has %zu bytes, a descriptor takes %zu", size, kBytes);
        return std::nullopt;
    }
    const uint8_t* next = blob->data();
    if (const uint8_t type = *next++; type != kType1) {
        ALOGE("hdr-static-info is of type %u, only type %u is known", type, kType1);
        return std::nullopt;
    }
    HdrStaticInfo info;
    forEachField(info, [&next](double& value, double unit) {
        value = (next[0] | next[1] << 8) * unit;
        next += 2;
    });
    return info;
}

}  // namespace android::host
