// The EETF and its table.
#include "ToneCurve.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace android::capture {
namespace {

// SMPTE ST 2084 (PQ), also ITU-R BT.2100 table 4.
constexpr double kPqNits = 10000;
constexpr double kM1 = 2610.0 / 16384;
constexpr double kM2 = 2523.0 / 4096 * 128;
constexpr double kC1 = 3424.0 / 4096;
constexpr double kC2 = 2413.0 / 4096 * 32;
constexpr double kC3 = 2392.0 / 4096 * 32;

double toPq(double nits) {
    const double power = std::pow(std::max(nits, 0.0) / kPqNits, kM1);
    return std::pow((kC1 + kC2 * power) / (1 + kC3 * power), kM2);
}

double fromPq(double signal) {
    const double root = std::pow(std::max(signal, 0.0), 1 / kM2);
    return kPqNits * std::pow(std::max(root - kC1, 0.0) / (kC2 - kC3 * root), 1 / kM1);
}

// Share of full-scale light, and so 250 of 255 codes, that a content peak below the mastering peak
// takes: enough codes to tell what is above, few enough to go unseen where nothing is.
constexpr double kContentShare = 0.956;

// On PQ signals. Names are the report's: E1 to E3, minLum, maxLum, KS, and the Hermite spline P.
class Eetf {
public:
    Eetf(double sourceBlack, double sourcePeak, double targetPeak)
        : mBlack(toPq(sourceBlack)),
          mRange(toPq(sourcePeak) - mBlack),
          mMinLum((toPq(0) - mBlack) / mRange),
          mMaxLum(std::min((toPq(targetPeak) - mBlack) / mRange, 1.0)),
          mKneeStart(1.5 * mMaxLum - 0.5) {}

    double operator()(double signal) const {
        const double e1 = std::clamp((signal - mBlack) / mRange, 0.0, 1.0);
        const double e2 = e1 < mKneeStart || mKneeStart >= 1 ? e1 : spline(e1);
        const double e3 = e2 + mMinLum * std::pow(1 - e2, 4);
        return e3 * mRange + mBlack;
    }

private:
    double spline(double e1) const {
        const double t = (e1 - mKneeStart) / (1 - mKneeStart);
        const double t2 = t * t;
        const double t3 = t2 * t;
        return (2 * t3 - 3 * t2 + 1) * mKneeStart + (t3 - 2 * t2 + t) * (1 - mKneeStart) +
               (-2 * t3 + 3 * t2) * mMaxLum;
    }

    double mBlack;
    double mRange;
    double mMinLum;
    double mMaxLum;
    double mKneeStart;
};

// The whole curve in cd/m2: the EETF up to the content peak, then a line in PQ to the mastering
// peak.
class NitsCurve {
public:
    explicit NitsCurve(const SceneLight& scene)
        : mHasTail(scene.masteringPeak > std::max(scene.contentPeak, kFullScaleNits)),
          mContentTarget(mHasTail ? kFullScaleNits * kContentShare : kFullScaleNits),
          mTailStart(std::max(scene.contentPeak, mContentTarget)),
          mEetf(scene.masteringBlack, mTailStart, mContentTarget),
          mTailFrom(toPq(mTailStart)),
          mTailTo(toPq(scene.masteringPeak)) {}

    double operator()(double nits) const {
        const double mapped = mEetf(toPq(nits));
        if (!mHasTail || nits <= mTailStart) return fromPq(mapped);
        const double share = std::min((toPq(nits) - mTailFrom) / (mTailTo - mTailFrom), 1.0);
        return fromPq(std::lerp(mapped, toPq(kFullScaleNits), share));
    }

private:
    bool mHasTail;
    double mContentTarget;
    double mTailStart;
    Eetf mEetf;
    double mTailFrom;
    double mTailTo;
};

constexpr int kFractionBits = 23;
constexpr uint32_t kExponentBias = 127;

}  // namespace

ToneCurve::ToneCurve(const SceneLight& scene) {
    const NitsCurve curve(scene);
    constexpr int kSteps = 1 << kStepBits;
    for (size_t node = 0; node < kNodes; ++node) {
        const int exponent = kLowestExponent + static_cast<int>(node >> kStepBits);
        const double fraction = static_cast<double>(node % kSteps) / kSteps;
        const double light = std::ldexp(1 + fraction, exponent);
        mLight[node] = static_cast<float>(curve(light * kFullScaleNits) / kFullScaleNits);
    }
}

float ToneCurve::operator()(float light) const {
    constexpr float kLowest = 1.0F / (1 << -kLowestExponent);
    constexpr float kHighest = 1 << kHighestExponent;
    if (!(light > kLowest)) return std::max(light, 0.0F) / kLowest * mLight.front();
    if (light >= kHighest) return mLight.back();
    constexpr int kPlaceBits = kFractionBits - kStepBits;
    constexpr auto kFirst = static_cast<uint32_t>(kExponentBias + kLowestExponent) << kStepBits;
    const auto bits = std::bit_cast<uint32_t>(light);
    const size_t node = (bits >> kPlaceBits) - kFirst;
    const float place = static_cast<float>(bits & ((1U << kPlaceBits) - 1)) / (1U << kPlaceBits);
    return mLight[node] + place * (mLight[node + 1] - mLight[node]);
}

}  // namespace android::capture
