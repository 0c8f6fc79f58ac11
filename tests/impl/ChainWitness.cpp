// Stamps, and what is left of a chain.
#include "ChainWitness.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace plexa {

using android::APipeBuffer;
using android::sp;

namespace {

std::span<uint8_t> pixelsOf(const sp<APipeBuffer>& buffer) {
    if (buffer->getMemoryType() == APipeBuffer::LocalMemory) {
        const auto memory = buffer->getLocalBuffer();
        return {memory->data(), memory->size()};
    }
    uint8_t *y = nullptr, *cb = nullptr, *cr = nullptr;
    if (buffer->getYCbCr(&y, &cb, &cr) != android::OK || y == nullptr) return {};
    const size_t rowBytes = static_cast<size_t>(buffer->getStride()) *
                            (buffer->getColorFormat() == APipeBuffer::Rgba8888 ? 4 : 1);
    return {y, rowBytes * static_cast<size_t>(buffer->getHeight())};
}

}  // namespace

void fillFrame(const sp<APipeBuffer>& buffer, uint64_t stamp) {
    const auto pixels = pixelsOf(buffer);
    for (size_t at = 0; at + sizeof(stamp) <= pixels.size(); at += sizeof(stamp))
        std::memcpy(&pixels[at], &stamp, sizeof(stamp));
}

bool frameHas(const sp<APipeBuffer>& buffer, uint64_t stamp) {
    const auto pixels = pixelsOf(buffer);
    if (pixels.empty()) return false;
    for (size_t at = 0; at + sizeof(stamp) <= pixels.size(); at += sizeof(stamp)) {
        if (std::memcmp(&pixels[at], &stamp, sizeof(stamp)) != 0) return false;
    }
    return true;
}

size_t ChainWitness::alive() const {
    const std::lock_guard lock(mLock);
    return static_cast<size_t>(std::count_if(mWatched.begin(), mWatched.end(), [](const auto& one) {
        return one.promote() != nullptr;
    }));
}

}  // namespace plexa
