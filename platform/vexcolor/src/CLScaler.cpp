// The scaler's entry points: arguments checked, work passed on.
#define LOG_TAG "CLScaler"
#include "cl/scaler/CLScaler.h"

#include <log/log.h>

#include <new>

#include "FrameFormat.h"
#include "Scaler.h"

namespace {

// The only one that clients use.
constexpr int32_t kMode = 1;

// Empty unless both are linear and of one depth, where the two sides do not differ further.
std::optional<cl::FrameFormat> formatOf(int32_t src, int32_t dst) {
    const auto from = cl::frameFormatOf(src);
    const auto to = cl::frameFormatOf(dst);
    if (!from || !to || from->compressed || to->compressed) return std::nullopt;
    if (from->bytesPerSample != to->bytesPerSample) return std::nullopt;
    return from;
}

}  // namespace

void* createScaler(int32_t mode, int64_t srcWidth, int64_t srcHeight, int64_t dstWidth,
                   int64_t dstHeight, int32_t srcFormat, int32_t dstFormat) try {
    const auto from = cl::frameSizeOf(srcWidth, srcHeight);
    const auto to = cl::frameSizeOf(dstWidth, dstHeight);
    const auto format = formatOf(srcFormat, dstFormat);
    if (mode != kMode || !from || !to || !format) {
        ALOGE("createScaler: no scaler of mode %d from %lldx%lld in format %d to %lldx%lld in %d",
              mode, static_cast<long long>(srcWidth), static_cast<long long>(srcHeight), srcFormat,
              static_cast<long long>(dstWidth), static_cast<long long>(dstHeight), dstFormat);
        return nullptr;
    }
    return new cl::Scaler(*from, *to, *format);
} catch (const std::bad_alloc&) {
    ALOGE("createScaler: out of memory");
    return nullptr;
}

bool scale(void* scaler, const android::sp<android::GraphicBuffer>& input,
           const android::sp<android::GraphicBuffer>& output) {
    if (scaler == nullptr) {
        ALOGE("scale: the scaler is null");
        return false;
    }
    return static_cast<cl::Scaler*>(scaler)->scale(input, output);
}

void destroyScaler(void* scaler) {
    delete static_cast<cl::Scaler*>(scaler);
}
