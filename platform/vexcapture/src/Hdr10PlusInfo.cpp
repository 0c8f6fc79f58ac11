// The HDR10+ blob, written and read.
#define LOG_TAG "Hdr10PlusInfo"

#include "host/Hdr10PlusInfo.h"

#include <utils/Log.h>

#include <cstdint>
#include <span>

#include "BitStream.h"

namespace android::host {
namespace {

using capture::BitReader;
using capture::BitWriter;

// Field widths and numbers are those of user_data_registered_itu_t_t35 and of the metadata syntax
// of SMPTE ST 2094-40.
constexpr uint32_t kCountryUsa = 0xB5;
constexpr uint32_t kProvider = 0x003C;
constexpr uint32_t kProviderOriented = 0x0001;
constexpr uint32_t kApplication = 4;
constexpr uint32_t kNewestVersion = 1;

constexpr unsigned kWindowBits = 4 * 16 + 2 * 16 + 8 + 3 * 16 + 1;  // placement of a further window
constexpr unsigned kLightBits = 17;
constexpr double kLightUnit = 0.1;  // cd/m2: 0.00001 of the 10000 of PQ
constexpr uint32_t kMostLight = 100000;

bool readHeader(BitReader& reader) {
    const uint32_t country = reader.read(8);
    const uint32_t provider = reader.read(16);
    const uint32_t oriented = reader.read(16);
    const uint32_t application = reader.read(8);
    const uint32_t version = reader.read(8);
    return country == kCountryUsa && provider == kProvider && oriented == kProviderOriented &&
           application == kApplication && version <= kNewestVersion;
}

// What stands between the header and the light levels of the first window, the whole picture.
void skipToLightLevels(BitReader& reader) {
    const uint32_t windows = reader.read(2);
    if (windows > 1) reader.skip(size_t{windows - 1} * kWindowBits);
    reader.skip(27);  // peak luminance of the display that the stream's own curve aims at
    if (reader.read(1) != 0) {
        const uint32_t rows = reader.read(5);
        const uint32_t columns = reader.read(5);
        reader.skip(size_t{rows} * columns * 4);
    }
}

}  // namespace

sp<ABuffer> Hdr10PlusInfo::toBlob() const {
    BitWriter writer;
    writer.write(kCountryUsa, 8);
    writer.write(kProvider, 16);
    writer.write(kProviderOriented, 16);
    writer.write(kApplication, 8);
    writer.write(kNewestVersion, 8);
    writer.write(1, 2);   // windows
    writer.write(0, 27);  // display aimed at: not known
    writer.write(0, 1);   // no peak luminances of that display's parts
    for (const double light : maxScl)
        writer.write(capture::fieldOf(light, kLightUnit, kMostLight), kLightBits);
    writer.write(0, kLightBits);  // average
    writer.write(0, 4);           // percentiles
    writer.write(0, 10);          // fraction of bright pixels
    writer.write(0, 1);           // no peak luminances of the mastering display's parts
    writer.write(0, 1);           // no tone mapping curve
    writer.write(0, 1);           // no saturation weight
    return ABuffer::CreateAsCopy(writer.bytes().data(), writer.bytes().size());
}

std::optional<Hdr10PlusInfo> Hdr10PlusInfo::fromBlob(const sp<ABuffer>& blob) {
    const size_t size = blob != nullptr ? blob->size() : 0;
    BitReader reader(size > 0 ? std::span<const uint8_t>(blob->data(), size)
                              : std::span<const uint8_t>());
    const bool known = readHeader(reader);
    skipToLightLevels(reader);
    Hdr10PlusInfo info;
    for (double& light : info.maxScl)
        light = reader.read(kLightBits) * kLightUnit;
    if (reader.ranOut()) {
        ALOGE("hdr10-plus-info ends after %zu bytes, before its light levels", size);
        return std::nullopt;
    }
    if (!known) {
        ALOGE("hdr10-plus-info is no HDR10+ message of version 0 or 1");
        return std::nullopt;
    }
    return info;
}

}  // namespace android::host
