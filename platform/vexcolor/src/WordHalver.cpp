// WordHalver: means of four.
#include "WordHalver.h"

namespace cl {
namespace {

constexpr int kUnusedBits = 6;

template <size_t samplesPerUnit>
void halveRows(const uint16_t* upper, const uint16_t* lower, uint16_t* to, size_t units) {
    const auto value = [](uint16_t sample) { return sample >> kUnusedBits; };
    for (size_t i = 0; i < units; ++i) {
        for (size_t c = 0; c < samplesPerUnit; ++c) {
            const size_t left = 2 * i * samplesPerUnit + c, right = left + samplesPerUnit;
            const int sum =
                value(upper[left]) + value(upper[right]) + value(lower[left]) + value(lower[right]);
            to[i * samplesPerUnit + c] = static_cast<uint16_t>((sum + 2) / 4 << kUnusedBits);
        }
    }
}

}  // namespace

bool WordHalver::isMadeFor(FrameSize from, FrameSize to, PlaneKind kind) {
    return kind.bytesPerSample == 2 && from.isTwice(to);
}

bool WordHalver::scale(const Plane& from, const Plane& to) {
    const auto halve = mKind.samplesPerUnit == 1 ? halveRows<1> : halveRows<2>;
    for (uint32_t y = 0; y < to.height; ++y) {
        halve(reinterpret_cast<const uint16_t*>(from.row(2 * y)),
              reinterpret_cast<const uint16_t*>(from.row(2 * y + 1)),
              reinterpret_cast<uint16_t*>(to.row(y)), to.width);
    }
    return true;
}

}  // namespace cl
