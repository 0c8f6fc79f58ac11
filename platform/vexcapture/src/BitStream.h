// Bit fields in a row of bytes, most significant bit first.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace android::capture {

// The whole number of units nearest to a value that a field of 0 to `most` holds. What is no number
// becomes 0, which stands for "not known".
inline uint32_t fieldOf(double value, double unit, uint32_t most) {
    const double units = std::round(value / unit);
    return units > 0 ? static_cast<uint32_t>(std::min<double>(units, most)) : 0;
}

// Reads fields; past the end they are 0 and ranOut() is true.
// Threading: reentrant.
class BitReader {
public:
    explicit BitReader(std::span<const uint8_t> bytes) : mBytes(bytes) {}

    // At most 32 bits.
    uint32_t read(unsigned bits) {
        uint32_t value = 0;
        while (bits-- > 0)
            value = value << 1 | nextBit();
        return value;
    }
    void skip(size_t bits) { mPosition += bits; }
    bool ranOut() const { return mPosition > mBytes.size() * 8; }

private:
    uint32_t nextBit() {
        const size_t at = mPosition++;
        if (ranOut()) return 0;
        return mBytes[at / 8] >> (7 - at % 8) & 1U;
    }

    std::span<const uint8_t> mBytes;
    size_t mPosition = 0;  // bits
};

// Writes fields; the last byte is filled up with zero bits.
// Threading: reentrant.
class BitWriter {
public:
    void write(uint32_t value, unsigned bits) {
        while (bits-- > 0) {
            if (mPosition % 8 == 0) mBytes.push_back(0);
            mBytes.back() |= static_cast<uint8_t>((value >> bits & 1U) << (7 - mPosition % 8));
            ++mPosition;
        }
    }
    const std::vector<uint8_t>& bytes() const { return mBytes; }

private:
    std::vector<uint8_t> mBytes;
    size_t mPosition = 0;  // bits
};

}  // namespace android::capture
